#pragma once

namespace tintwell::media {

/// Which chroma row a luma row of a picture takes its colour from.
struct ChromaRows {
    int height = 0;       ///< luma rows
    int shift = 0;        ///< log2 of the luma rows that share a chroma row
    bool byField = false; ///< even and odd rows share chroma among themselves only

    int count() const { return (height + (1 << shift) - 1) >> shift; }

    int rowFor(int lumaRow) const {
        if (!byField || shift == 0) {
            return lumaRow >> shift;
        }
        const int row = (lumaRow >> (shift + 1)) * 2 + (lumaRow & 1);
        // The last group of an incomplete picture may lack a row of its own field.
        return row < count() ? row : count() - 1;
    }

    /// No luma row further apart than this takes its colour from the same chroma row.
    int span() const { return 2 << shift; }
};

} // namespace tintwell::media
