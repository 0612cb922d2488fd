// The imaging control as the program sees it: one bitmap, its file facts, its display state and all
// operations, under the names the program uses. ImageView (image_view.h) shows one; hidden instances have no
// view.
#pragma once

#include <QColor>
#include <QFont>
#include <QObject>
#include <QRect>
#include <QString>
#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "imaging/bitmap.h"
#include "imaging/codec.h"
#include "imaging/ops/context.h"
#include "imaging/ops/turning.h"
#include "imaging/region.h"

namespace quillmark::engine {

class Loading;

/// Result codes are the program's: 0 for success, 20000 and above for a failure (texts in text/messages.h).
using Code = std::int16_t;

/// Facts of a file, as the last successful query left them; sides and depth follow the image once there is
/// one.
struct FileInfo {
    int format = 0;  ///< engine format code, 0 before the first query
    int width = 0, height = 0;
    int bits = 0;
    int page = 1;  ///< the page the facts refer to
    int total_pages = 0;
    std::int64_t size_mem = 0;   ///< bytes_in_memory of these sides and depth
    std::int64_t size_disk = 0;  ///< bytes of the file
    bool has_stamp = false;
    imaging::Resolution resolution;
    QString compression;
};

/// width x height x bits / 8, rounded.
std::int64_t bytes_in_memory(int width, int height, int bits);

/// Paint-size modes: how the image is fitted to the control.
enum PaintSize : int { kPaintNormal = 0, kPaintStretch = 1, kPaintFit = 3 };

/// Scale modes: the unit of coordinates.
enum ScaleUnit : int { kTwips = 1, kPixels = 3 };

class Engine : public QObject {
    Q_OBJECT

  public:
    explicit Engine(QObject* parent = nullptr);
    ~Engine() override;

    // The bitmap. Reading it and assigning it to another instance makes an independent copy at no cost;
    // assigning an empty one frees the image.
    const imaging::Bitmap& Bitmap() const { return bitmap_; }
    void SetBitmap(const imaging::Bitmap& bitmap);
    int BitmapWidth() const { return bitmap_.width(); }
    int BitmapHeight() const { return bitmap_.height(); }
    int BitmapBits() const { return bitmap_.bits(); }

    // Files (engine_files.cpp). Page is 1-based; a page beyond the last means the last.
    Code GetFileInfo(const QString& name, int page);
    const FileInfo& Info() const { return info_; }
    /// Loads a page at bits per pixel (0: the file's own). count is the number of pages to load; 1 and -1
    /// load the one page into this instance.
    Code Load(const QString& name, int bits, int page, int count);
    Code LoadStamp(const QString& name);
    /// Takes a decoded picture as the image. Empty pictures give 20002.
    Code SetPicture(const imaging::Bitmap& picture);
    Code Save(const QString& name, int format, int bits, int quality, int multi_page_mode);
    /// What the last load could not deliver, for a plain notice; empty when all was well.
    const QString& DamageNotice() const { return damage_notice_; }
    /// The same for a picture that comes through SetPicture.
    void SetDamageNotice(const QString& notice) { damage_notice_ = notice; }
    int PCDResolution() const { return pcd_resolution_; }
    void SetPCDResolution(int index) { pcd_resolution_ = index; }
    /// Whether a Photo CD file holds resolution index 0 to 5.
    bool HasPCDResolution(const QString& name, int index) const;
    bool PaintWhileLoad() const { return paint_while_load_; }
    void SetPaintWhileLoad(bool on) { paint_while_load_ = on; }
    int SavePage() const { return save_page_; }
    void SetSavePage(int page) { save_page_ = page; }

    // Progress. While work runs the interface waits in a filtered event loop; Esc reaches StopRequested
    // through EscapePressed, and the handler of ProgressStatus may call Abort.
    bool EnableProgressEvent() const { return progress_events_; }
    void SetEnableProgressEvent(bool on) { progress_events_ = on; }
    void Abort() { abort_ = true; }

    // Display (image_view.cpp keeps the rectangles up to date). Units follow ScaleMode.
    int ScaleMode() const { return scale_mode_; }
    void SetScaleMode(int unit) { scale_mode_ = unit; }
    bool AutoRepaint() const { return auto_repaint_; }
    /// Turned on, it shows what has changed meanwhile, and plays the PaintEffect that waits.
    void SetAutoRepaint(bool on);
    bool AutoScroll() const { return auto_scroll_; }
    void SetAutoScroll(bool on);
    int PaintSizeMode() const { return paint_size_mode_; }
    /// Mode 0 also returns to 100 %.
    void SetPaintSizeMode(int mode);
    int PaintZoomFactor() const { return zoom_; }
    /// Percent, at least 1; also returns to paint-size mode 0, so that the zoom shows. 0 and below are taken
    /// as 1.
    void SetPaintZoomFactor(int percent);
    int PaintDitherMethod() const { return dither_method_; }
    void SetPaintDitherMethod(int method);
    int BitonalScaling() const { return bitonal_scaling_; }
    void SetBitonalScaling(int method);
    int BitonalDisplay() const { return bitonal_display_; }
    void SetBitonalDisplay(int value) { bitonal_display_ = value; }
    /// The five display switches that every new window sets: 0 double buffering off, 1 outline drawing, 2
    /// automatic scrolling, 3 painting of partial images, 4 rubber-band feedback.
    bool DisplaySwitch(int index) const { return switches_.at(static_cast<std::size_t>(index)); }
    void SetDisplaySwitch(int index, bool on) { switches_.at(static_cast<std::size_t>(index)) = on; }
    double DstLeft() const { return in_scale(dst_.left(), true); }
    double DstTop() const { return in_scale(dst_.top(), false); }
    double DstWidth() const { return in_scale(dst_.width(), true); }
    double DstHeight() const { return in_scale(dst_.height(), false); }
    double DstClipLeft() const { return in_scale(clip_.left(), true); }
    double DstClipTop() const { return in_scale(clip_.top(), false); }
    double DstClipWidth() const { return in_scale(clip_.width(), true); }
    double DstClipHeight() const { return in_scale(clip_.height(), false); }
    /// The part of the display rectangle that counts; what lies outside of it is cut off.
    void SetDstClipRect(int left, int top, int width, int height);
    /// Device pixels; set by the view.
    void SetDisplayRectangles(const QRectF& dst, const QRectF& clip);
    const QRectF& display_rectangle() const { return dst_; }
    /// The place in the image, bitmap pixels with fractions, that is displayed at a position in device
    /// pixels.
    QPointF bitmap_point(QPointF device) const;
    void SetTwipsPerPixel(double x, double y) { twips_x_ = x, twips_y_ = y; }
    /// Repaints the displayed image now.
    void ForceRepaint();

    // Region (engine_region.cpp), in bitmap coordinates.
    bool HasRgn() const { return !region_.empty(); }
    const imaging::Region& Rgn() const { return region_; }
    /// Selects a region, clipped to the image; an empty one selects nothing.
    void SetRgn(const imaging::Region& region);
    void FreeRgn() { SetRgn({}); }
    bool IsPtInRgn(double x, double y) const;
    /// 0 no outline, 2 the moving outline.
    void SetRgnFrameType(int type);
    int RgnFrameType() const { return region_frame_; }
    /// The shape that the next left drag draws: 0 none, 1 rectangle, 2 rounded rectangle, 3 ellipse, 4
    /// freehand.
    void SetRgnTracking(int shape) { region_tracking_ = shape; }
    int RgnTracking() const { return region_tracking_; }
    /// The pixels of the region's bounds, in the image's own form; empty without a region.
    imaging::Bitmap RgnPixels() const;
    /// Puts pixels into the image with their top left pixel at (x, y), inside the region where there is one.
    Code PutPixels(const imaging::Bitmap& pixels, int x, int y);
    /// Turns the region's pixels and its outline about the region's centre; what they leave takes the fill
    /// colour. angle in hundredths of a degree, clockwise. Does nothing without a region.
    Code RotateRgn(int angle, const QColor& fill);
    /// The same with a shear; angles beyond those of Shear are taken as its nearest.
    Code ShearRgn(int angle, bool horizontal, const QColor& fill);
    /// 0 and 1 the arrow, 5 the moving arrows, 99 the text pointer.
    void SetMousePointer(int pointer);
    int MousePointer() const { return mouse_pointer_; }

    // The floating copy: the region's pixels of a source, hovering over the image. Units follow ScaleMode.
    /// source has the size of the image; the shape is the region as it is now.
    void SetFloater(const imaging::Bitmap& source);
    const imaging::Bitmap& Floater() const { return floater_.source; }
    /// The pixels of Floater that float, where they were lifted.
    const imaging::Region& FloaterRgn() const { return floater_.region; }
    void SetFloaterVisible(bool visible);
    bool FloaterVisible() const { return floater_.visible; }
    /// Where the region's bounds are displayed; exact, so that a drag moves by what the mouse moved and a
    /// click by nothing.
    void SetFloaterRect(double left, double top, double width, double height);
    void MoveFloater(double left, double top);
    double FloaterLeft() const { return in_scale(floater_.rect.left(), true); }
    double FloaterTop() const { return in_scale(floater_.rect.top(), false); }
    double FloaterWidth() const { return in_scale(floater_.rect.width(), true); }
    double FloaterHeight() const { return in_scale(floater_.rect.height(), false); }
    /// Device pixels.
    const QRectF& floater_rectangle() const { return floater_.rect; }
    /// Combines the floating pixels with the image inside the region, as if their bounds had been moved to
    /// (left, top) in bitmap pixels, and hides them.
    Code DropFloater(int left, int top);

    // Text and paint-effect state. Text is drawn from the top left corner of its box, in one line that ends
    // with the image, not with the box. It has the size on the screen that the font states: at 25 % it takes
    // four times the pixels of the image that it takes at 100 %.
    QFont& Font() { return font_; }
    void SetDrawFontColor(const QColor& colour) { font_colour_ = colour; }
    /// On: drawing goes into the bitmap. Off: nothing is drawn, for the screen alone keeps nothing.
    void SetDrawPersistence(bool on) { draw_persistent_ = on; }
    /// Display coordinates, in the unit of ScaleMode.
    void SetTextBox(int left, int top, int width, int height) { text_box_ = {left, top, width, height}; }
    /// Tenths of a degree, clockwise as Rotate, about the box's top left corner.
    void SetTextAngle(int angle) { text_angle_ = angle; }
    /// The transition (transition.h) that the next ForceRepaint plays, or turning AutoRepaint on; 0, which is
    /// none, again as soon as it has begun.
    int PaintEffect() const { return paint_effect_; }
    void SetPaintEffect(int effect) { paint_effect_ = effect; }
    /// Milliseconds from one step of the transition to the next.
    int EffectDelay() const { return effect_delay_; }
    void SetEffectDelay(int milliseconds) { effect_delay_ = milliseconds; }

    // Operations (engine_operations.cpp): on the region where one is selected and the operation allows. Units
    // and ranges stand in imaging/ops, under the same names. A failure leaves the image as it was.
    static constexpr Code kNotAvailable = 20016;
    Code Flip();
    Code Reverse();
    /// angle in hundredths of a degree, clockwise.
    Code Rotate(int angle, bool resize, const QColor& fill);
    Code Shear(int angle, bool horizontal, const QColor& fill);
    Code Size(int width, int height, int flags);
    Code Trim(int left, int top, int width, int height);
    Code Intensity(int change);
    Code Contrast(int change);
    Code Hue(int change);
    Code Saturation(int change);
    Code GammaCorrect(int gamma);
    Code HistoContrast(int change);
    Code HistoEqualize();
    Code StretchIntensity();
    Code IntensityDetect(int low, int high);
    Code Invert();
    Code Grayscale(int bits);
    Code Posterize(int levels);
    Code Mosaic(int size);
    Code Average(int size);
    Code Median(int size);
    Code Sharpen(int amount);
    Code AddNoise(int amount);
    Code Emboss(int depth);
    Code SpatialFilter(int filter);
    Code Combine(int x, int y, float width, float height, const imaging::Bitmap& source, int source_x,
                 int source_y, int flags);
    Code Underlay(const imaging::Bitmap& underlay, int mode);
    Code ColorRes(int bits, int palette, int dither, int reserved);
    Code Halftone(int type, int value);
    Code ColorSeparate(int kind);
    imaging::Bitmap ColorPlanes(int plane) const;
    Code GetHistogram(int channel);
    std::int64_t HistogramTable(int level) const;
    /// Number of different colours of the image or its region; 0 without an image.
    std::int64_t GetColorCount();
    /// The edges of the image around mid grey; what Combine with kCombineAddSigned sharpens it with.
    Code EdgeComponent(int amount);
    /// One line of text, smooth where the image has levels; see compose_mask for palettes. flags is 0.
    Code DrawText(const QString& text, int flags);
    Code Copy(int flags);
    Code Paste(int flags);
    Code Capture(int flags, int left, int top, int width, int height);

    /// The image that is arriving, while a load paints as it goes; nullptr otherwise.
    Loading* loading() const { return loading_.get(); }

  signals:
    void ProgressStatus(int percent);
    void EscapePressed();
    void bitmap_changed();   ///< another image, or another size of it
    void display_changed();  ///< zoom, mode or display preferences
    void repaint_requested();
    void region_changed();
    void floater_changed();
    void pointer_changed();
    void partly_loaded();  ///< rows have arrived at loading()

  private:
    /// Runs work on another thread, keeps the interface alive, raises progress events. work gets a function
    /// to report done of total; it returns false to stop.
    using Report = std::function<bool(std::int64_t, std::int64_t)>;
    void run(const std::function<void(const Report&)>& work);
    /// Runs an operation on a snapshot of the image and the region and replaces the image when it succeeded.
    using Operation = std::function<imaging::Result<imaging::Bitmap>(
        const imaging::Bitmap&, const imaging::Region*, const imaging::Context&)>;
    Code apply(const Operation& operation);
    /// The same for what also changes the region.
    using RegionOperation = std::function<imaging::Result<imaging::TurnedRegion>(
        const imaging::Bitmap&, const imaging::Region&, const imaging::Context&)>;
    Code apply_to_region(const RegionOperation& operation);
    /// The operation of that name in imaging/ops.
    Code operate(std::string_view name, std::initializer_list<int> arguments);
    imaging::Context context(const Report& report) const;
    double in_scale(double pixels, bool horizontal) const;
    double from_scale(double value, bool horizontal) const;
    void note_damage(const imaging::Outcome& outcome);
    Code take(imaging::Result<imaging::Outcome> outcome);

    imaging::Bitmap bitmap_;
    FileInfo info_;
    QString damage_notice_;
    std::unique_ptr<Loading> loading_;
    std::atomic<bool> abort_{false};
    bool progress_events_ = false;
    bool paint_while_load_ = false;
    int pcd_resolution_ = 0;
    int save_page_ = 1;

    int scale_mode_ = kPixels;
    bool auto_repaint_ = true;
    bool auto_scroll_ = true;
    int paint_size_mode_ = kPaintNormal;
    int zoom_ = 100;
    int dither_method_ = 0;
    int bitonal_scaling_ = 0;
    int bitonal_display_ = 0;
    std::array<bool, 5> switches_{false, false, true, true, true};
    QRectF dst_, clip_;
    double twips_x_ = 15, twips_y_ = 15;

    imaging::Region region_;
    int region_frame_ = 0;
    int region_tracking_ = 0;
    int mouse_pointer_ = 0;
    struct {
        imaging::Bitmap source;
        imaging::Region region;
        bool visible = false;
        QRectF rect;  // device pixels
    } floater_;
    std::vector<imaging::Bitmap> planes_;
    std::vector<std::int64_t> histogram_;
    QFont font_;
    QColor font_colour_ = Qt::black;
    bool draw_persistent_ = true;
    QRect text_box_;
    int text_angle_ = 0;
    int paint_effect_ = 0;
    int effect_delay_ = 0;
};

}  // namespace quillmark::engine
