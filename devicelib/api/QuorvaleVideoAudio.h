/* Playback, capture, audio and timing calls. */
#ifndef QUORVALE_VIDEO_AUDIO_H
#define QUORVALE_VIDEO_AUDIO_H

#include "QuorvaleTypes.h"

QUORVALE_BEGIN_DECLS

QUORVALE_END_DECLS

#endif
