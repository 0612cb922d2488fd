// Effects, spatial filters, edge enhancement, underlay and paint effects.
#include <algorithm>
#include <iterator>

#include "operations/command.h"
#include "operations/get_effect.h"
#include "operations/get_filter.h"
#include "program/document_list.h"
#include "program/prompts.h"

namespace quillmark::operations {
namespace {

using engine::CommonDialog;
using engine::DialogKind;
using engine::Engine;

constexpr int kEdgeAmount = 16;
constexpr int kAddEdges = 768;  // Combine: the source is a signed difference
constexpr int kEffectDelay = 50;

constexpr DialogOperation kEffects[] = {
    {0, "Posterize", DialogKind::effect_value, 0x40000080,
     [](Engine& image, const CommonDialog& d) { return image.Posterize(d.Value); }},
    {1, "Mosaic", DialogKind::effect_value, 0x40000100,
     [](Engine& image, const CommonDialog& d) { return image.Mosaic(d.Value); }},
    {2, "Average", DialogKind::effect_value, 0x40000200,
     [](Engine& image, const CommonDialog& d) { return image.Average(d.Value); }},
    {3, "Median", DialogKind::effect_value, 0x40000400,
     [](Engine& image, const CommonDialog& d) { return image.Median(d.Value); }},
    {4, "Sharpen", DialogKind::effect_value, 0x40000001,
     [](Engine& image, const CommonDialog& d) { return image.Sharpen(d.Value); }},
    {5, "AddNoise", DialogKind::effect_value, 0x40000000,
     [](Engine& image, const CommonDialog& d) { return image.AddNoise(d.Value); }},
    {6, "Emboss", DialogKind::effect_value, 0x40000000,
     [](Engine& image, const CommonDialog& d) { return image.Emboss(d.Value); }},
};

// The dialog's flags by FilterKind: one bit per family of filters.
constexpr std::uint32_t kFilterFlags[] = {0x40000001, 0x40000002, 0x40000004,
                                          0x40000008, 0x40000010, 0x40000020};

/// The frame's scratch image for a scope.
class Scratch {
  public:
    Scratch(FrameFace& frame, const imaging::Bitmap& content) : image_{frame.LEAD1()} {
        image_.SetBitmap(content);
    }
    ~Scratch() { image_.SetBitmap({}); }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;
    Engine& image() const { return image_; }

  private:
    Engine& image_;
};

// The row chosen in a list of names joined by ";"; nothing when the list was cancelled.
std::optional<int> choose(FrameFace& frame, const QString& title, const QString& list) {
    GetFilter form;
    form.InitTheForm(title, list);
    frame.prompts().show_modal(form);
    return form.UserResult() ? std::optional{form.GetAmount()} : std::nullopt;
}

}  // namespace

void effect(FrameFace& frame, ImageWindow& window, int EffectKind) {
    begin_undoable(frame, window);
    with_report(frame, [&] {
        CommonDialog& dialog = frame.LEADDlg1();
        dialog.Value = 0;
        const auto row = std::ranges::find(kEffects, EffectKind, &DialogOperation::kind);
        if (row != std::end(kEffects)) {
            dialog.Flags = row->flags;
            show_dialog(frame, window, row->dialog, row->member);
            const BusyBracket busy{frame};
            check(row->run(window.LEAD1(), dialog), row->member);
        }
        frame.state().ImageChanged = true;
    });
}

void spatial_filter(FrameFace& frame, ImageWindow& window, int FilterKind) {
    begin_undoable(frame, window);
    with_report(frame, [&] {
        CommonDialog& dialog = frame.LEADDlg1();
        if (FilterKind >= 0 && FilterKind < static_cast<int>(std::size(kFilterFlags)))
            dialog.Flags = kFilterFlags[FilterKind];
        show_dialog(frame, window, DialogKind::spatial_filter, "SpatialFilter");
        {
            const BusyBracket busy{frame};
            check(window.LEAD1().SpatialFilter(dialog.Filter), "SpatialFilter");
        }
        frame.state().ImageChanged = true;
    });
}

void edge_enhance(FrameFace& frame, ImageWindow& window) {
    begin_undoable(frame, window);
    const BusyBracket busy{frame};
    Engine& image = window.LEAD1();
    const Scratch scratch{frame, image.Bitmap()};
    check(scratch.image().EdgeComponent(kEdgeAmount), "EdgeComponent");
    check(image.Combine(0, 0, static_cast<float>(scratch.image().BitmapWidth()),
                        static_cast<float>(scratch.image().BitmapHeight()), scratch.image().Bitmap(), 0, 0,
                        kAddEdges),
          "Combine");
}

void underlay(FrameFace& frame, ImageWindow& window) {
    begin_undoable(frame, window);
    program::DocumentList& kids = frame.kids();
    const std::int16_t position = kids.FindKid(window.handle());
    const auto chosen = choose(frame, QStringLiteral("Underlay Image"), kids.BuildKidList());
    if (!chosen) return;
    const auto mode =
        choose(frame, QStringLiteral("Underlay Effect"), QStringLiteral("UNDERLAY_TILE;UNDERLAY_STRETCH"));
    if (!mode) return;
    const BusyBracket busy{frame};
    kids.MakeKidActive(static_cast<std::int16_t>(*chosen));
    ImageWindow* beneath = frame.active_window();
    const Scratch scratch{frame, beneath ? beneath->LEAD1().Bitmap() : imaging::Bitmap{}};
    kids.MakeKidActive(position);
    check(window.LEAD1().Underlay(scratch.image().Bitmap(), *mode), "Underlay");
}

void paint_effect(FrameFace& frame, ImageWindow& window) {
    GetEffect form;
    frame.prompts().show_modal(form);
    if (!form.UserResult()) return;
    const BusyBracket busy{frame};
    window.LEAD1().SetEffectDelay(kEffectDelay);
    window.LEAD1().SetPaintEffect(form.GetAmount());
}

}  // namespace quillmark::operations
