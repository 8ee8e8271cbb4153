#pragma once

#include "media/metadata/byte_order.h"
#include "media/metadata/image_notes.h"

#include <cstdint>
#include <vector>

namespace tintwell::media {

// How each format keeps its notes. The writing functions take a whole file and give one back.

void readJpegNotes(ByteView file, ImageNotes& notes);
std::vector<std::uint8_t> withJpegNotes(ByteView file, const ImageNotes& notes);

void readPngNotes(ByteView file, ImageNotes& notes);
std::vector<std::uint8_t> withPngNotes(ByteView file, const ImageNotes& notes);

void readDpxNotes(ByteView file, ImageNotes& notes);
std::vector<std::uint8_t> withDpxNotes(ByteView file, const ImageNotes& notes);

} // namespace tintwell::media
