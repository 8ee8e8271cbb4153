#include "command_line_test.h"
#include "tool/preview/preview_picture.h"

namespace tintwell::tool {
namespace {

TEST_F(CommandLineTest, PreviewWritesThePictureOfOneFrameOnceUnderItsName) {
    for (int i = 1; i <= 2; ++i) {
        write(numbered("shot.", i), picture(i, 0));
    }
    const Outcome written = run({"preview", "shot.%d.ppm", "--at", "0.04"});
    ASSERT_EQ(written.exitCode, 0) << written.err;
    EXPECT_EQ(written.err, "tintwell: wrote shot-preview-1.png\n");
    const std::string named = contentOf(work_ / "shot-preview-1.png");
    EXPECT_EQ(run({"preview", "shot.%d.ppm", "--at", "0:0.05", "-o", "-"}).out, named);
    EXPECT_NE(run({"preview", "shot.%d.ppm", "-o", "-"}).out, named);
    expectRefusal({"preview", "shot.%d.ppm", "--at", "0.04"}, 1,
                  {"shot-preview-1.png", "--overwrite"});
    EXPECT_EQ(run({"preview", "shot.%d.ppm", "--at", "0.04", "--split", "--overwrite"}).exitCode,
              0);
    EXPECT_NE(contentOf(work_ / "shot-preview-1.png"), named);

    // Rendering with all of the original turns the picture into pixels that can be read here.
    write("shown-preview.png", named);
    ASSERT_EQ(run({"render", "shot.%d.ppm", "done.%d.ppm"}).exitCode, 0);
    ASSERT_EQ(
        run({"render", "shown-preview.png", "shown.ppm", "--blend-with-original", "100"}).exitCode,
        0);
    media::ClipInfo info;
    info.width = 64;
    info.height = 48;
    const preview::PreviewLayout layout = preview::layoutOf(info, {});
    const std::string shown = contentOf(work_ / "shown.ppm");
    const auto from = [&](const preview::Box& box) {
        const std::string size = shown.substr(3, shown.find('\n', 3) - 3);
        const std::size_t width = std::stoul(size);
        const std::size_t start = 3 + size.size() + 5; // "P6\n", the size, "\n255\n"
        std::string pixels = "P6\n64 48\n255\n";
        for (int y = box.y; y < box.bottom(); ++y) {
            const auto offset =
                static_cast<std::size_t>(y) * width + static_cast<std::size_t>(box.x);
            pixels += shown.substr(start + 3 * offset, 3 * 64);
        }
        return pixels;
    };
    EXPECT_EQ(from(layout.before), picture(2, 0));
    EXPECT_EQ(from(layout.after), contentOf(work_ / "done.2.ppm"));

    expectRefusal({"preview", "clip.y4m", "--at", "0.4"}, 1, {"no frame at 0.4 seconds", "0.360"});
    expectRefusal({"preview", "clip.y4m", "--at", "noon"}, 2, {"--at: 'noon'", "1:02.5"});
    expectRefusal({"preview", "clip.y4m", "--width", "100"}, 2, {"--width: '100'", "624"});
    expectRefusal({"preview", "clip.y4m", "--at=-1"}, 2, {"--at: '-1'", "count from 0"});
    expectRefusal({"preview", "clip.y4m", "-o", "x.jpg"}, 2, {"x.jpg", ".png"});
    expectRefusal({"preview", "clip.y4m", "-o", "none/x.png"}, 1, {"none/x.png", "folder"});
    expectRefusal({"preview", "none.mp4"}, 1, {"none.mp4", "no such file"});
    expectRefusal({"preview", "-", "--at", "0"}, 2, {"standard input", "file"});
}

} // namespace
} // namespace tintwell::tool
