#pragma once

#include "media/ffmpeg_objects.h"

namespace tintwell::media {

// What plays from which container. FFmpeg writes much that nothing can read: it takes Opus for
// AVI, PCM for MPEG-TS and any subtitles for MPEG program streams.

/// Whether the stream's packets, as they are, play from such a file.
bool playsFrom(const AVOutputFormat& container, const AVStream& stream);

/// Whether the container takes such packets at all.
bool canBeWritten(const AVOutputFormat& container, const AVStream& stream);

/// Whether the stream is a cover picture that the container keeps as an attached file.
bool canAttachPicture(const AVOutputFormat& container, const AVStream& stream);

/// Whether all of the sound is still there after coding.
bool isLossless(AVCodecID sound);

/// What sound that does not play from the container is converted to: lossless where the source and
/// the container are. AV_CODEC_ID_NONE where the container holds no sound.
AVCodecID soundCodecFor(const AVOutputFormat& container, const AVCodecParameters& source);

/// The same for subtitles: text becomes text, pictures become pictures.
AVCodecID subtitleCodecFor(const AVOutputFormat& container, AVCodecID source);

/// Whether the container counts samples rather than telling when they sound, so that sound that
/// begins late has to begin with silence.
bool countsSamples(const AVOutputFormat& container);

/// The only sample rate that the container knows; 0 where it knows more.
int onlySampleRate(const AVOutputFormat& container);

} // namespace tintwell::media
