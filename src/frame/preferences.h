// The commands of the Preferences menu that change program-wide settings.
#pragma once

#include "program/frame_face.h"

namespace quillmark::frame {

enum class Increment { brightness, contrast, hue, gamma };

/// Asks for a step and stores it; an empty answer changes nothing, a number beyond 16 bits is clamped.
void prompt_increment(program::FrameFace& frame, Increment which);
/// Reads the four steps from the settings.
void read_increments(program::FrameFace& frame);

void toggle_paint_while_load(program::FrameFace& frame);
void toggle_show_open_options(program::FrameFace& frame);
/// Also sets EnableProgressEvent of every open image window.
void toggle_show_progress(program::FrameFace& frame);

/// method: 0 ordered, 1 error diffusion. Every image window repaints.
void set_dithering(program::FrameFace& frame, std::int16_t method);
/// mode: 0 normal, 1 favoured black, 2 scale to gray. Every image window repaints; marks the image changed.
void set_bitonal_scaling(program::FrameFace& frame, std::int16_t mode);

}  // namespace quillmark::frame
