#include "engine/transition.h"

#include <algorithm>
#include <cmath>

namespace quillmark::engine {
namespace {

constexpr int kMostStrips = 31;

// Odd, so that the strips are symmetrical about the middle.
int strip_count(int side) { return (std::min(side, kMostStrips) - 1) | 1; }

// The middle of a pixel in shares of the side; the middle of a strip's pixel never lies on a strip's edge.
double share(int position, int side) { return (2.0 * position + 1) / (2.0 * side); }

bool is_odd_strip(int position, int side) {
    const int count = strip_count(side);
    return (2LL * position + 1) * count / (2LL * side) % 2 != 0;
}

bool is_corner(const QString& word) { return word.size() == 2; }

QString opposite(const QString& corner) {
    QString result;
    for (const QChar side : corner)
        result += side == u'L' ? u'R' : side == u'R' ? u'L' : side == u'T' ? u'B' : u'T';
    return result;
}

}  // namespace

Transition::Sweep Transition::Sweep::from(const QString& place, Fold fold) {
    Sweep sweep;
    sweep.fold = fold;
    const double weight = 1.0 / static_cast<double>(place.size());
    for (const QChar side : place) {
        if (side == u'L') sweep.across = weight;
        if (side == u'R') sweep.across = -weight, sweep.start += weight;
        if (side == u'T') sweep.down = weight;
        if (side == u'B') sweep.down = -weight, sweep.start += weight;
    }
    return sweep;
}

double Transition::Sweep::at(double u, double v) const {
    const double passed = across * u + down * v + start;
    switch (fold) {
        case Fold::none: return passed;
        case Fold::inward: return 1 - std::abs(2 * passed - 1);
        case Fold::outward: return std::abs(2 * passed - 1);
    }
    return passed;
}

Transition::Part Transition::Part::side(QChar side, const Sweep& sweep) {
    Part part;
    part.sweep = sweep;
    if (side == u'L') part.right = 0.5;
    if (side == u'R') part.left = 0.5;
    if (side == u'T') part.bottom = 0.5;
    if (side == u'B') part.top = 0.5;
    return part;
}

// "A TO B", "A AND B TO C" and "C TO A AND B", C being the centre.
std::optional<Transition::Sweep> Transition::movement(const QStringList& words) {
    const QString centre = QStringLiteral("C");
    if (words.size() == 3) return Sweep::from(words[0]);
    if (words.size() != 5) return {};
    if (words[0] == centre) return Sweep::from(words[2], Fold::outward);
    if (words[4] == centre) return Sweep::from(words[0], Fold::inward);
    return {};
}

bool Transition::add_strips(const QString& movements) {
    const QString then = QStringLiteral("_THEN_"), both = QStringLiteral("_AND_");
    QStringList passes = movements.split(then);
    const bool at_once = passes.size() == 1 && movements.count(QStringLiteral("_TO_")) == 2;
    if (at_once) passes = movements.split(both);
    if (passes.size() == 1) passes += passes[0];
    for (int pass = 0; pass < 2; ++pass) {
        const auto sweep = movement(passes[pass].split(u'_'));
        if (!sweep) return false;
        Part part;
        part.sweep = *sweep;
        if (!at_once) part.begin = pass * 0.5, part.end = part.begin + 0.5;
        parts_.push_back(part);
    }
    return true;
}

bool Transition::add_two(const QStringList& words) {
    if (const auto whole = movement(words)) {
        parts_.push_back({.sweep = *whole});
        return true;
    }
    if (words.size() == 5 && is_corner(words[0]) && is_corner(words[2])) {
        // Two corners of one side: each half begins in its own.
        const QString &first = words[0], &second = words[2];
        const qsizetype letter = first[0] == second[0] ? 1 : 0;
        parts_.push_back(Part::side(first[letter], Sweep::from(first)));
        parts_.push_back(Part::side(second[letter], Sweep::from(second)));
        return true;
    }
    if (words.size() != 9) return false;
    for (const int at : {0, 5}) parts_.push_back(Part::side(words[at][0], Sweep::from(words[at + 1])));
    return true;
}

// The middle band opens or closes from its sides, the bands above and below it after or before.
void Transition::add_bands(bool outward) {
    const double middle = outward ? 0 : 0.5, outer = 0.5 - middle;
    const auto band = [this](double top, double bottom, const Sweep& sweep, double begin) {
        parts_.push_back({.top = top, .bottom = bottom, .sweep = sweep, .begin = begin, .end = begin + 0.5});
    };
    const QString top = QStringLiteral("T"), bottom = QStringLiteral("B");
    band(0.25, 0.75, Sweep::from(QStringLiteral("L"), outward ? Fold::outward : Fold::inward), middle);
    band(0, 0.25, Sweep::from(outward ? bottom : top), outer);
    band(0.75, 1, Sweep::from(outward ? top : bottom), outer);
}

bool Transition::add_four(const QStringList& words) {
    if (words.contains(QStringLiteral("THEN"))) {
        add_bands(words[0] == QStringLiteral("C"));
        return true;
    }
    const QStringList quarters{QStringLiteral("LT"), QStringLiteral("RT"), QStringLiteral("LB"),
                               QStringLiteral("RB")};
    const bool out = words[0] == QStringLiteral("CORNERS");
    if (!out && words.size() != 4) return false;
    for (qsizetype i = 0; i < 4; ++i) {
        const QString& quarter = quarters[i];
        Part part = Part::side(quarter[0], Sweep::from(out ? opposite(quarter) : words[i]));
        const Part row = Part::side(quarter[1], {});
        part.top = row.top, part.bottom = row.bottom;
        parts_.push_back(part);
    }
    return true;
}

std::optional<Transition> Transition::named(const QString& name) {
    const qsizetype gap = name.indexOf(u'_');
    const QString kind = name.left(gap), rest = name.mid(gap + 1);
    const QStringList words = rest.split(u'_');
    Transition effect;
    bool known = false;
    if (kind == QStringLiteral("WIPE2")) {
        known = effect.add_two(words);
    } else if (kind == QStringLiteral("WIPE4")) {
        known = effect.add_four(words);
    } else if (kind == QStringLiteral("WIPE") && words[0].startsWith(QStringLiteral("INTER"))) {
        effect.strips_ = words[0].endsWith(u'H') ? Strips::horizontal : Strips::vertical;
        known = effect.add_strips(rest.mid(words[0].size() + 1));
    } else if (kind == QStringLiteral("WIPE")) {
        if (const auto sweep = movement(words)) effect.parts_.push_back({.sweep = *sweep}), known = true;
    }
    if (!known) return {};
    return effect;
}

std::optional<Transition> Transition::of(int code) {
    const QStringList names = paint_effect_names();
    const int position = code - kFirstPaintEffect;
    if (position < 0 || position >= names.size()) return {};
    return named(names[position]);
}

double Transition::arrival(QPoint pixel, QSize sheet) const {
    const double u = share(pixel.x(), sheet.width()), v = share(pixel.y(), sheet.height());
    const auto within = [&](const Part& part) {
        return u >= part.left && u <= part.right && v >= part.top && v <= part.bottom;
    };
    const Part* part = &parts_.front();
    if (strips_ == Strips::none) {
        part = &*std::ranges::find_if(parts_, within);
    } else {
        const bool odd = strips_ == Strips::horizontal ? is_odd_strip(pixel.y(), sheet.height())
                                                       : is_odd_strip(pixel.x(), sheet.width());
        if (odd) part = &parts_.back();
    }
    const double passed = part->sweep.at((u - part->left) / (part->right - part->left),
                                         (v - part->top) / (part->bottom - part->top));
    return part->begin + passed * (part->end - part->begin);
}

}  // namespace quillmark::engine
