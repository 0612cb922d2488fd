#include "program/document_list.h"

#include <QStringList>
#include <algorithm>

namespace quillmark::program {
namespace {

constexpr int kLongestTitle = 160;

}  // namespace

void DocumentList::RedimKids() { kids_.resize(count() + 1); }

void DocumentList::AddKid(std::int32_t handle) {
    kids_[count() - 1] = handle;
    SortKids();
}

void DocumentList::RemoveKid(std::int32_t handle) {
    const auto end = kids_.begin() + KidCount;
    const auto rest = std::remove(kids_.begin(), end, handle);
    std::fill(rest, end, 0);
}

void DocumentList::SortKids() { std::sort(kids_.begin(), kids_.begin() + KidCount); }

std::int16_t DocumentList::FindKid(std::int32_t handle) const {
    for (std::int16_t i = static_cast<std::int16_t>(KidCount - 1); i >= 0; --i) {
        if (kids_[static_cast<std::size_t>(i)] == handle) return i;
    }
    return 0;
}

void DocumentList::MakeKidActive(std::int16_t index) {
    if (index < 0 || index >= KidCount) return;
    const std::int32_t wanted = kids_[static_cast<std::size_t>(index)];
    for (int step = 0; step < KidCount && windows_.active() != wanted; ++step) windows_.send_active_to_back();
}

QString DocumentList::BuildKidList() const {
    QStringList titles;
    for (std::size_t i = 0; i < count(); ++i) titles += windows_.title(kids_[i]).left(kLongestTitle);
    return titles.join(u';');
}

}  // namespace quillmark::program
