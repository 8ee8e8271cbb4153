#pragma once

#include "media/ffmpeg_objects.h"

#include <string>

namespace tintwell::media {

// What output containers can hold, beyond what FFmpeg itself tells of them.

/// Whether a stream's packets can go into the container unchanged.
bool canHold(const AVOutputFormat& container, const AVStream& stream);

/// Whether the stream is a cover picture that the container keeps as an attached file.
bool canAttachPicture(const AVOutputFormat& container, const AVStream& stream);

/// Whether the container has a place for the rotation of the picture.
bool canHoldRotation(const AVOutputFormat& container);

/// How many frames per second the container's clock can tell apart; 0 where that is no matter.
int greatestFrameRate(const AVOutputFormat& container);

/// Whether frames may follow each other at any distance in time.
bool canHoldVariableRate(const AVOutputFormat& container);

} // namespace tintwell::media
