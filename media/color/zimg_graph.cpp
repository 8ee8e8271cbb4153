#include "media/color/zimg_graph.h"

#include "media/media_error.h"

#include <algorithm>
#include <array>
#include <bit>
#include <new>
#include <string>

namespace tintwell::media {
namespace {

constexpr std::size_t kAlignment = 64;

[[noreturn]] void throwLastError() {
    std::array<char, 256> text{};
    const zimg_error_code_e code = zimg_get_last_error(text.data(), text.size());
    zimg_clear_last_error();
    if (code == ZIMG_ERROR_OUT_OF_MEMORY || text[0] == '\0') { // none for the words, either
        throw std::bad_alloc();
    }
    throw MediaError("the colour conversion failed: " + std::string(text.data()));
}

unsigned inputRowsOf(const zimg_filter_graph* graph) {
    unsigned rows = 0;
    if (zimg_filter_graph_get_input_buffering(graph, &rows) != ZIMG_ERROR_SUCCESS) {
        throwLastError();
    }
    return rows;
}

unsigned outputRowsOf(const zimg_filter_graph* graph) {
    unsigned rows = 0;
    if (zimg_filter_graph_get_output_buffering(graph, &rows) != ZIMG_ERROR_SUCCESS) {
        throwLastError();
    }
    return rows;
}

std::size_t scratchBytesOf(const zimg_filter_graph* graph) {
    std::size_t bytes = 0;
    if (zimg_filter_graph_get_tmp_size(graph, &bytes) != ZIMG_ERROR_SUCCESS) {
        throwLastError();
    }
    return bytes;
}

/// From AVX2 on zimg fuses multiplications with additions, which now and then rounds to another
/// value than on a processor without. AVX is as fast here and equals the portable code.
zimg_cpu_type_e instructionSet() {
#if defined(__x86_64__)
    return __builtin_cpu_supports("avx") != 0 ? ZIMG_CPU_X86_AVX : ZIMG_CPU_X86_SSE2;
#else
    return ZIMG_CPU_AUTO;
#endif
}

std::size_t rowBytes(const zimg_image_format& format) {
    return std::size_t{format.width} * (format.pixel_type == ZIMG_PIXEL_BYTE ? 1 : 2);
}

} // namespace

void RowRing::AlignedDeleter::operator()(std::byte* block) const {
    ::operator delete (block, std::align_val_t{kAlignment});
}

RowRing::RowRing(unsigned rows, std::size_t bytesPerRow)
    : mask_(std::bit_ceil(std::max(rows, 1U)) - 1),
      stride_((bytesPerRow + kAlignment - 1) / kAlignment * kAlignment),
      rows_(static_cast<std::byte*>(
          ::operator new (4 * (mask_ + std::size_t{1}) * stride_, std::align_val_t{kAlignment}))) {}

zimg_image_buffer_const RowRing::asInput() {
    zimg_image_buffer_const buffer{};
    buffer.version = ZIMG_API_VERSION;
    for (int plane = 0; plane < 4; ++plane) {
        buffer.plane[plane] = {planeStart(plane), static_cast<std::ptrdiff_t>(stride_), mask_};
    }
    return buffer;
}

zimg_image_buffer RowRing::asOutput() {
    zimg_image_buffer buffer{};
    buffer.version = ZIMG_API_VERSION;
    for (int plane = 0; plane < 4; ++plane) {
        buffer.plane[plane] = {planeStart(plane), static_cast<std::ptrdiff_t>(stride_), mask_};
    }
    return buffer;
}

ZimgGraph::ZimgGraph(const zimg_image_format& from, const zimg_image_format& to,
                     unsigned outputRows)
    // zimg may ask for the whole picture by asking for more rows than there are.
    : graph_(build(from, to)),
      input_(std::min(inputRowsOf(graph_.get()), from.height), rowBytes(from)),
      output_(std::max(outputRows, std::min(outputRowsOf(graph_.get()), to.height)), rowBytes(to)),
      scratch_(1, scratchBytesOf(graph_.get())) {}

zimg_filter_graph* ZimgGraph::build(const zimg_image_format& from, const zimg_image_format& to) {
    zimg_graph_builder_params parameters;
    zimg_graph_builder_params_default(&parameters, ZIMG_API_VERSION);
    parameters.dither_type = ZIMG_DITHER_NONE;
    parameters.cpu_type = instructionSet();
    zimg_filter_graph* graph = zimg_filter_graph_build(&from, &to, &parameters);
    if (graph == nullptr) {
        throwLastError();
    }
    return graph;
}

void ZimgGraph::process(zimg_filter_graph_callback unpack, void* unpackUser,
                        zimg_filter_graph_callback pack, void* packUser) {
    const zimg_image_buffer_const from = input_.asInput();
    const zimg_image_buffer to = output_.asOutput();
    const zimg_error_code_e code = zimg_filter_graph_process(
        graph_.get(), &from, &to, scratch_.row<void*>(0, 0), unpack, unpackUser, pack, packUser);
    if (code != ZIMG_ERROR_SUCCESS && code != ZIMG_ERROR_USER_CALLBACK_FAILED) {
        throwLastError();
    }
}

} // namespace tintwell::media
