#pragma once

#include "media/ffmpeg_objects.h"

#include <string>

namespace tintwell::media {

// What output containers can hold, beyond what FFmpeg itself tells of them.

/// Whether the container has a place for the rotation of the picture.
bool canHoldRotation(const AVOutputFormat& container);

/// How many frames per second the container's clock can tell apart; 0 where that is no matter.
int greatestFrameRate(const AVOutputFormat& container);

/// Whether frames may follow each other at any distance in time.
bool canHoldVariableRate(const AVOutputFormat& container);

/// Whether pictures can be stored in another order than that in which they are shown.
bool canReorder(const AVOutputFormat& container);

/// Whether the container's files cannot be completed without going back in them.
bool needsSeeking(const AVOutputFormat& container);

} // namespace tintwell::media
