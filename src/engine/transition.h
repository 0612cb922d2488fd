// Paint effects: the order in which the pixels of a sheet turn to a new picture, told from the effect's name.
#pragma once

#include <QPoint>
#include <QSize>
#include <QStringList>
#include <optional>
#include <vector>

namespace quillmark::engine {

/// Codes count up from here in the order of paint_effect_names.
inline constexpr int kFirstPaintEffect = 2000;

/// The 555 names of the paint effects.
QStringList paint_effect_names();

/// One paint effect. Sides and corners are L, R, T, B and LT, LB, RT, RB; C is the centre. INTERH and INTERV
/// cut the sheet into horizontal or vertical strips, of which every second one turns in a first pass and the
/// others in a second one (THEN) or at the same time the other way (AND). WIPE2 treats halves, WIPE4 the
/// quarters left top, right top, left bottom, right bottom, each wiped from the side or corner named.
class Transition {
  public:
    /// The effect of that name or code; nothing when there is none.
    static std::optional<Transition> named(const QString& name);
    static std::optional<Transition> of(int code);

    /// The progress, 0 to 1, at which a pixel of the sheet turns to the new picture. Mirrored effects turn
    /// mirrored pixels at the same moment (the middle of an odd side lies in the left or upper half).
    double arrival(QPoint pixel, QSize sheet) const;
    /// Whether the pixel shows the new picture: never at progress 0, always at 1.
    bool shows(QPoint pixel, QSize sheet, double progress) const {
        return progress > 0 && arrival(pixel, sheet) <= progress;
    }

  private:
    enum class Strips { none, horizontal, vertical };
    enum class Fold { none, inward, outward };
    /// A straight front: across * u + down * v + start runs from 0 where it begins to 1 where it ends.
    struct Sweep {
        double across = 0, down = 0, start = 0;
        Fold fold = Fold::none;  ///< two fronts at once, to the middle or from it
        static Sweep from(const QString& place, Fold fold = Fold::none);
        double at(double u, double v) const;
    };
    /// A piece of the sheet, in shares of its sides, with its front and its share of the time.
    struct Part {
        double left = 0, top = 0, right = 1, bottom = 1;
        Sweep sweep;
        double begin = 0, end = 1;
        static Part side(QChar side, const Sweep& sweep);
    };

    bool add_strips(const QString& movements);
    bool add_two(const QStringList& words);
    bool add_four(const QStringList& words);
    void add_bands(bool outward);
    static std::optional<Sweep> movement(const QStringList& words);

    Strips strips_ = Strips::none;
    // Where parts touch, the first counts. With strips: one for the even and one for the odd ones.
    std::vector<Part> parts_;
};

}  // namespace quillmark::engine
