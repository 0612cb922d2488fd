// The program's texts for the imaging engine's result codes and format codes.
#include "text/messages.h"

#include <algorithm>
#include <iterator>

namespace quillmark::text {
namespace {

/// Codes first to last, both included, share a text. In rising order, so that a search can halve it.
struct Row {
    int first, last;
    std::string_view text;
};

constexpr Row kErrors[] = {
    {20000, 20000, "General failure"},
    {20001, 20001, "Not enough memory available"},
    {20002, 20002, "Invalid bitmap handle"},
    {20003, 20003, "Not enough memory available"},
    {20004, 20004, "Error seeking to position"},
    {20005, 20005, "Error writing file"},
    {20006, 20006, "File not present - abort"},
    {20007, 20007, "Error reading file"},
    {20008, 20008, "Invalid filename specified"},
    {20009, 20009, "Invalid file format"},
    {20010, 20010, "File not found"},
    {20011, 20011, "Invalid width/height"},
    {20012, 20012, "Image format recognized, but sub-type not supported"},
    {20013, 20013, "Invalid parmameter passed"},
    {20014, 20014, "Not able to open file"},
    {20015, 20015, "Unknown compression format"},
    {20016, 20016, "Not available for file format requested"},
    {20017, 20017, "VGA card only supports 256 colors (8 bit)"},
    {20018, 20018, "Printer error"},
    {20019, 20019, "Data CRC check error"},
    {20021, 20021, "Invalid QFactor specified"},
    {20022, 20022, "TARGA not installed"},
    {20023, 20023, "Invalid compression format"},
    {20024, 20024, "X origin specified invalid"},
    {20025, 20025, "Y origin specified invalid"},
    {20026, 20026, "Invalid video mode"},
    {20027, 20027, "Invalid bits/pixel"},
    {20028, 20028, "Invalid window size"},
    {20029, 20029, "Escape key pressed"},
    {20030, 20062, "Internal Error - Call LEAD"},
    {20063, 20064, "Fixed palette data not found"},
    {20065, 20065, "Stamp not found"},
    {20070, 20070, "Invalid group 3 code"},
    {20071, 20071, "Group3 code end of file"},
    {20072, 20072, "Group3 code end of code"},
    {20073, 20073, "Premature EOF at scanline"},
    {20074, 20077, "Premature end-of-line code"},
    {20078, 20078, "Bad version number"},
    {20079, 20079, "Twain source manager not found"},
    {20080, 20080, "Twain failure due to unknown causes"},
    {20081, 20081, "Twain not enough memory to perform operation"},
    {20082, 20082, "Twain no Data Source"},
    {20083, 20083, "Twain DS is connected to max possible apps"},
    {20084, 20084, "Twain DS or DSM reported error, app shouldn't"},
    {20085, 20085, "Twain unknown capability"},
    {20086, 20086, "Twain unrecognized MSG DG DAT combination"},
    {20087, 20087, "Twain data parameter out of range"},
    {20088, 20088, "Twain DG DAT MSG out of expected sequence"},
    {20089, 20089, "Twain unknown destination App/Src in DSM_Entry"},
    {20090, 20090, "Twain operation was cancelled"},
};

constexpr Row kFormats[] = {
    {1, 1, "ZSoft PCX"},
    {2, 2, "Graphic Interchange Format"},
    {3, 3, "TIFF (uncompressed)"},
    {4, 4, "TrueVision Targa"},
    {5, 5, "LEAD CMP"},
    {6, 6, "Microsoft Windows Bitmap"},
    {9, 9, "Bitmap"},
    {10, 10, "JPEG File Interchange Format"},
    {11, 11, "TIFF (compressed)"},
    {14, 14, "OS/2 BMP"},
    {15, 15, "Microsoft Windows Metafile"},
    {16, 16, "Encapsulated PostScript"},
    {17, 17, "TIFF (compressed)"},
    {20, 20, "LEAD CMP"},
    {21, 21, "JPEG File Interchange Format"},
    {22, 22, "LEAD JTIF"},
    {23, 23, "JPEG"},
    {24, 24, "LEAD JTIF"},
    {25, 25, "CCITT FAX"},
    {26, 26, "LEAD 1-bit"},
    {27, 27, "Fax - CCITT Group 3 1D"},
    {28, 28, "Fax - CCITT Group 3 2D"},
    {29, 29, "Fax - CCITT Group 4"},
    {30, 30, "LEAD CMP - noloss"},
    {50, 50, "CALS Raster"},
    {51, 51, "Mac Paint"},
    {52, 52, "GEM Image"},
    {53, 53, "Microsoft Paint"},
    {54, 54, "WordPerfect"},
    {55, 55, "Sun Raster"},
    {56, 56, "Macintosh Pict"},
    {57, 57, "Kodak PhotoCD"},
    {58, 58, "DXF"},
    {59, 59, "Video for Windows"},
    {60, 60, "Wave audio"},
    {62, 62, "CGM"},
    {63, 63, "EPS with an embedded TIFF file"},
    {64, 64, "EPS with an embedded WMF file"},
    {65, 65, "LEAD - noloss"},
    {66, 66, "Fax - CCITT Group 3 1D"},
    {67, 67, "Fax - CCITT Group 3 2D"},
    {68, 68, "Fax - CCITT Group 4"},
    {69, 69, "WinFax - CCITT Group 3"},
    {70, 70, "WinFax - CCITT Group 4"},
    {71, 71, "IBM IOCA, compressed using CCITT G3 1D"},
    {72, 72, "IBM IOCA, compressed using CCITT G3 2D"},
    {73, 73, "IBM IOCA, compressed using CCITT G4"},
    {74, 74, "OS/2 BMP version 2.x"},
    {75, 75, "Portable Network Graphics"},
    {76, 76, "Adobe Photoshop 3.0"},
    {77, 77, "Raw FAX, compressed using CCITT G3 1D"},
    {78, 78, "Raw FAX, compressed using CCITT G3 2D"},
    {79, 79, "Raw FAX, compressed using CCITT G4"},
    {80, 80, "Kodak Flashpix - uncompressed"},
    {81, 81, "Kodak Flashpix - compressed"},
    {82, 82, "Kodak Flashpix - compressed with JPEG"},
    {83, 83, "Kodak Flashpix - compressed with JPEG with QFACTOR"},
    {91, 91, "Windows Icon"},
    {92, 92, "Windows Cursor"},
    {93, 93, "MPEG"},
};

// Empty when no row holds the code.
std::string_view find_text(const Row* begin, const Row* end, int code) {
    const Row* row = std::lower_bound(begin, end, code, [](const Row& r, int c) { return r.last < c; });
    return row != end && row->first <= code ? row->text : std::string_view{};
}

}  // namespace

std::string error_message(int code) {
    const std::string_view found = find_text(std::begin(kErrors), std::end(kErrors), code);
    return found.empty() ? "Unexpected LEAD error #" + std::to_string(code) : std::string{found};
}

std::string_view format_name(int code) { return find_text(std::begin(kFormats), std::end(kFormats), code); }

}  // namespace quillmark::text
