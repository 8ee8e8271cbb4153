#pragma once

#include <zimg.h>

#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>

namespace tintwell::media {

inline constexpr int kAlphaPlane = 3; ///< after R,G,B or Y,U,V

/// A few rows of four planes, used round and round: row y lies in slot y modulo the number of
/// slots. Rows start on 64-byte boundaries.
class RowRing {
public:
    /// At least `rows` slots; `bytesPerRow` as the widest row needs.
    RowRing(unsigned rows, std::size_t bytesPerRow);

    template <class Sample>
    Sample* row(int plane, unsigned y) {
        return reinterpret_cast<Sample*>(planeStart(plane) + (y & mask_) * stride_);
    }

    zimg_image_buffer_const asInput();
    zimg_image_buffer asOutput();

private:
    std::byte* planeStart(int plane) {
        return rows_.get() + static_cast<std::size_t>(plane) * (mask_ + std::size_t{1}) * stride_;
    }

    struct AlignedDeleter {
        void operator()(std::byte* block) const;
    };

    unsigned mask_;
    std::size_t stride_;
    std::unique_ptr<std::byte, AlignedDeleter> rows_;
};

/// One conversion between two sample formats of the same size, run row by row through rings, so
/// that the rows are still in the cache when they are unpacked, converted and packed. For one
/// thread at a time. Throws MediaError where zimg refuses the formats.
class ZimgGraph {
public:
    /// `outputRows`: finished rows that the packing wants to look back on.
    ZimgGraph(const zimg_image_format& from, const zimg_image_format& to, unsigned outputRows);

    RowRing& input() { return input_; }

    RowRing& output() { return output_; }

    /// Calls unpack(row, left, right) before the columns left..right-1 of a row of the input ring
    /// are read, and pack(row, left, right) after those of the output ring are written; within a
    /// range of columns the rows follow each other from the top. What they throw is passed on.
    template <class Unpack, class Pack>
    void run(Unpack unpack, Pack pack) {
        Hook<Unpack> unpackHook{unpack, {}};
        Hook<Pack> packHook{pack, {}};
        process(&Hook<Unpack>::call, &unpackHook, &Hook<Pack>::call, &packHook);
        for (const std::exception_ptr& thrown : {unpackHook.thrown, packHook.thrown}) {
            if (thrown) {
                std::rethrow_exception(thrown);
            }
        }
    }

private:
    /// Keeps an exception from crossing zimg.
    template <class Function>
    struct Hook {
        Function& function;
        std::exception_ptr thrown;

        static int call(void* self, unsigned row, unsigned left, unsigned right) noexcept {
            auto& hook = *static_cast<Hook*>(self);
            try {
                hook.function(row, left, right);
                return 0;
            } catch (...) {
                hook.thrown = std::current_exception();
                return 1;
            }
        }
    };

    struct GraphDeleter {
        void operator()(zimg_filter_graph* graph) const { zimg_filter_graph_free(graph); }
    };

    static zimg_filter_graph* build(const zimg_image_format& from, const zimg_image_format& to);
    void process(zimg_filter_graph_callback unpack, void* unpackUser,
                 zimg_filter_graph_callback pack, void* packUser);

    std::unique_ptr<zimg_filter_graph, GraphDeleter> graph_;
    RowRing input_;
    RowRing output_;
    RowRing scratch_;
};

} // namespace tintwell::media
