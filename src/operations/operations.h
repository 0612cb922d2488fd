// The commands that change or examine the active image, each by its subject. A command without an error
// handler of its own lets an engine failure end it as program::RunTimeError; the image is then as it was.
#pragma once

#include "program/frame_face.h"
#include "program/image_window.h"

namespace quillmark::operations {

using program::FrameFace;
using program::ImageWindow;

// undo.cpp
/// Restores the image from its undo copy, which stays. Right after itself it does nothing.
void undo(FrameFace& frame, ImageWindow& window);

// tone.cpp
/// Change by the preferred step times 10; sign +1 for more, -1 for less.
void step_intensity(FrameFace& frame, ImageWindow& window, int sign);
void step_contrast(FrameFace& frame, ImageWindow& window, int sign);
void step_hue(FrameFace& frame, ImageWindow& window, int sign);
/// bits: 8, 12 or 16.
void grayscale(FrameFace& frame, ImageWindow& window, int bits);
void invert(FrameFace& frame, ImageWindow& window);
void equalize(FrameFace& frame, ImageWindow& window);
void stretch_intensity(FrameFace& frame, ImageWindow& window);
/// The colour operations whose values come from a common dialog: 8 saturation, 16 histogram contrast, 29
/// gamma, 31 intensity detect, 16380 colour resolution.
void adjust_colour(FrameFace& frame, ImageWindow& window, int ColorAdjustKind);

// geometry.cpp
void mirror_horizontally(FrameFace& frame, ImageWindow& window);
void mirror_vertically(FrameFace& frame, ImageWindow& window);
/// angle: 9000 to the right, 27000 to the left.
void quarter_turn(FrameFace& frame, ImageWindow& window, int angle);
void free_rotate(FrameFace& frame, ImageWindow& window);
void shear(FrameFace& frame, ImageWindow& window);
void resize(FrameFace& frame, ImageWindow& window);
/// The crop command: decides by the region tool and the command before it whether C_Crop runs.
void crop(FrameFace& frame, ImageWindow& window);
/// Cuts the image down to the selection.
void C_Crop(FrameFace& frame, ImageWindow& window);

// effects.cpp
/// 0 posterize, 1 mosaic, 2 average, 3 median, 4 sharpen, 5 add noise, 6 emboss.
void effect(FrameFace& frame, ImageWindow& window, int EffectKind);
/// 0 gradient, 1 Laplacian, 2 Sobel, 3 Prewitt, 4 shift and difference, 5 line segment.
void spatial_filter(FrameFace& frame, ImageWindow& window, int FilterKind);
void edge_enhance(FrameFace& frame, ImageWindow& window);
void underlay(FrameFace& frame, ImageWindow& window);
void paint_effect(FrameFace& frame, ImageWindow& window);

// colour.cpp
/// type: 0 for printing, 1 for viewing.
void halftone(FrameFace& frame, ImageWindow& window, int type);
/// 0 RGB, 1 CMYK, 2 HSV, 3 HLS, 4 CMY: each plane in a window of its own.
void separate(FrameFace& frame, ImageWindow& window, int SeparationKind);
void count_unique_colours(FrameFace& frame, ImageWindow& window);
void view_histogram(FrameFace& frame, ImageWindow& window);

// text_insertion.cpp
/// Asks for a line of text; the next release of the mouse on an image draws it there.
void prompt_text(FrameFace& frame, ImageWindow& window);
void choose_text_font(FrameFace& frame);
void prompt_text_angle(FrameFace& frame);
void prompt_text_offset(FrameFace& frame);
/// Draws pending text at a position of the active image, in the unit of its ScaleMode; does nothing when none
/// is pending. Text is pending once: it is forgotten here, drawn or failed. Failures are reported here.
void InsertText(FrameFace& frame, int x, int y);

}  // namespace quillmark::operations
