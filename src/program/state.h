// Program-wide state: one struct, owned by the frame and passed on. Nothing here is global.
#pragma once

#include <QString>
#include <cstdint>

namespace quillmark::program {

/// View modes of new windows, as the start-up found them checked.
enum ViewMode : std::int16_t { kViewNormal = 100, kViewFit = 0, kViewStretch = -1, kViewSnap = -2 };

struct ProgramState {
    QString ProgramDir;       ///< the program's folder, ending in the separator
    QString CaptionText;      ///< the frame's caption
    QString CommandLine;      ///< what the program was started with, as one text
    QString CurrentFileName;  ///< file being opened or saved
    QString LastFileName;     ///< its copy, read by the recent-file list
    QString LastTool;         ///< ID of the last finished command; empty before the first

    bool CommandBusy = false;    ///< a command runs; further clicks are dropped
    bool OperationBusy = false;  ///< between StatusInit and StatusTerm; image windows refuse to close
    bool ImageChanged = false;   ///< the active image has unsaved changes: one flag for the whole program
    bool UndoPending = false;
    bool NonRectRegion = false;  ///< the region tool is not a rectangle
    bool FrameMinimized = false;
    bool LowColorDisplay = false;  ///< the screen has 8 or fewer bits per pixel

    std::int16_t DefaultViewMode = 0;  ///< ViewMode; fixed at start-up
    std::int16_t ZoomPercent = 0;      ///< zoom value or view code
    std::int16_t ZoomIncrement = 0;
    std::int16_t DitherMethod = 0;        ///< 0 ordered, 1 error diffusion
    std::int16_t BitonalScalingMode = 0;  ///< 0 normal, 1 favoured black, 2 scale to gray

    bool ShowOpenOptions = false;
    bool ShowProgress = false;
    bool ProgressEnabled = false;  ///< always equal to ShowProgress
    bool PaintWhileLoad = false;

    std::int16_t BrightnessInc = 0, ContrastInc = 0, HueInc = 0, GammaInc = 0;
    std::int16_t RectLeft = 0, RectTop = 0, RectRight = 0, RectBottom = 0;  ///< the last rectangle selection
    QString PendingText;                 ///< drawn at the next release of the mouse on an image; else empty
    std::int32_t PendingTextWindow = 0;  ///< handle of the window that shows the text pointer for it
    std::int32_t TextColor = 0;          ///< the current text colour, red in the lowest byte
    std::int16_t PCDResolution = 0;      ///< Photo CD resolution index kept between opens
    bool CancelPrintFlag = false;        ///< the last print-layout prompt was cancelled
    QString OpenDialogFormats = QStringLiteral("1073737150");  ///< formats the save dialogs offer, as a mask
};

}  // namespace quillmark::program
