#pragma once

#include "media/ffmpeg_objects.h"
#include "media/moment.h"

#include <optional>
#include <string>

namespace tintwell::media {

// What is taken over from one container to another as it is. Throws std::bad_alloc.

/// The tracks in which QuickTime files keep the titles of their chapters and their timecode: the
/// muxer makes them anew from chapters and metadata.
bool isMadeAnew(const AVStream& stream);

/// For messages: "audio stream 2 (aac)".
std::string describeStream(const AVStream& stream);

/// A new stream for the packets of another.
AVStream& addCopiedStream(AVFormatContext& output, const AVStream& source);

/// A stream for a cover picture in a container that keeps such pictures as attached files.
void attachPicture(AVFormatContext& output, const AVStream& source);

/// A stream's metadata, disposition, and what it says about its pictures as a whole: rotation,
/// projection, mastering display. For a stream that is encoded anew.
void copyStreamProperties(const AVStream& source, AVStream& target);

/// Languages of streams as the container knows them: that of QuickTime knows only one of two codes
/// that some have.
void useOldLanguageCodes(AVFormatContext& output);

/// Titles of streams where MP4 and MOV have a place for them: players show the handler's name.
void nameTracks(AVFormatContext& output);

void copyMetadata(const AVFormatContext& source, AVFormatContext& output);

/// The chapters, on a clock that starts at `start`; those that begin after `length` are left out.
void copyChapters(const AVFormatContext& source, const Moment& start,
                  const std::optional<Moment>& length, AVFormatContext& output);

} // namespace tintwell::media
