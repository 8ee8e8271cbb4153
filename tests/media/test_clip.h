#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace tintwell::media {

/// A new folder that goes with this object.
class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_;
};

/// Frame times of the test clip, in 1/600 seconds: no constant rate.
inline const std::vector<std::int64_t> kFrameTimes{0, 20, 60, 70, 90, 150, 170, 180, 240, 260};
inline constexpr int kTestWidth = 64;
inline constexpr int kTestHeight = 48;

/// Writes a clip of H.264 with B-frames and uncompressed sound into a QuickTime or Matroska file:
/// 10 frames of rising luma (16 + 20 * index), titled "A title", pixels 4:3, BT.709 limited, a
/// chapter "A chapter" up to 0.4 s, to be turned by 90 degrees clockwise.
void writeTestClip(const std::filesystem::path& path);

} // namespace tintwell::media
