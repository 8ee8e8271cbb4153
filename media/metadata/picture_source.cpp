#include "media/metadata/picture_source.h"

#include "media/metadata/image_notes.h"

#include <cstring>
#include <memory>
#include <new>
#include <span>
#include <string_view>
#include <utility>

namespace tintwell::media {
namespace {

void freePacket(void* packet, std::uint8_t* /*data*/) {
    PacketDeleter()(static_cast<AVPacket*>(packet));
}

std::span<const std::uint8_t> bytesOf(const AVBufferRef* buffer) {
    return buffer != nullptr ? std::span<const std::uint8_t>(buffer->data, buffer->size)
                             : std::span<const std::uint8_t>();
}

} // namespace

bool isImageFile(const AVInputFormat& container) {
    const std::string_view name = container.name;
    return name == "image2" || name.ends_with("_pipe");
}

void keepSource(AVFrame& picture, const AVPacket& packet) {
    PacketPtr reference(av_packet_clone(&packet));
    if (!reference) {
        throw std::bad_alloc();
    }
    AVBufferRef* buffer =
        av_buffer_create(reference->data, static_cast<std::size_t>(reference->size), freePacket,
                         reference.get(), AV_BUFFER_FLAG_READONLY);
    if (buffer == nullptr) {
        throw std::bad_alloc();
    }
    reference.release();
    av_buffer_unref(&picture.opaque_ref);
    picture.opaque_ref = buffer;
}

std::vector<std::string> NotesCarrier::lost(const AVFrame& picture) const {
    ImageNotes notes = readImageNotes(from_, bytesOf(picture.opaque_ref));
    if (from_ == to_ && takesNotes(to_, from_)) {
        return {};
    }
    if (takesNotes(to_, from_)) {
        ImageNotes own; // of this format alone
        own.jpegSegments = std::move(notes.jpegSegments);
        own.pngChunks = std::move(notes.pngChunks);
        return own.names();
    }
    notes.header.clear(); // nobody knows it but by what the decoder tells
    std::vector<std::string> names = notes.names();
    if (names.empty()) {
        const AVDictionaryEntry* entry = nullptr;
        while ((entry = av_dict_get(picture.metadata, "", entry, AV_DICT_IGNORE_SUFFIX)) !=
               nullptr) {
            names.emplace_back(entry->key);
        }
    }
    return names;
}

bool NotesCarrier::carriesOrientation() const {
    return takesNotes(to_, from_) && to_ != AV_CODEC_ID_DPX;
}

void NotesCarrier::expect(const AVFrame& picture) {
    sources_.emplace_back(picture.opaque_ref != nullptr ? av_buffer_ref(picture.opaque_ref)
                                                        : nullptr);
}

void NotesCarrier::complete(AVPacket& packet) {
    if (sources_.empty()) {
        return;
    }
    const auto source = std::move(sources_.front());
    sources_.pop_front();
    if (!takesNotes(to_, from_)) {
        return;
    }
    const ImageNotes notes = readImageNotes(from_, bytesOf(source.get()));
    if (notes.empty()) {
        return;
    }
    const std::span<const std::uint8_t> file(packet.data, static_cast<std::size_t>(packet.size));
    const std::vector<std::uint8_t> whole = withImageNotes(to_, file, notes);
    const PacketPtr made = makePacket();
    if (av_new_packet(made.get(), static_cast<int>(whole.size())) < 0 ||
        av_packet_copy_props(made.get(), &packet) < 0) {
        throw std::bad_alloc();
    }
    std::memcpy(made->data, whole.data(), whole.size());
    av_packet_unref(&packet);
    av_packet_move_ref(&packet, made.get());
}

} // namespace tintwell::media
