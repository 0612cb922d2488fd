// The open image windows ("Kids") by handle, in ascending order.
#pragma once

#include <QString>
#include <cstdint>
#include <functional>
#include <vector>

namespace quillmark::program {

class DocumentList {
  public:
    /// What the list needs to know of the windows behind the handles.
    struct Windows {
        std::function<QString(std::int32_t handle)> title;
        std::function<std::int32_t()> active;  ///< 0 when there is none
        std::function<void()> send_active_to_back;
    };
    explicit DocumentList(Windows windows) : windows_{std::move(windows)} { RedimKids(); }

    std::int16_t KidCount = 0;

    /// KidCount + 1 slots; the last is spare.
    const std::vector<std::int32_t>& KidList() const { return kids_; }
    void RedimKids();
    /// Stores the handle in slot KidCount - 1, then sorts. Call after KidCount += 1 and RedimKids.
    void AddKid(std::int32_t handle);
    /// Takes the handle out; the rest stay ascending in the first slots. Call before KidCount -= 1 and
    /// RedimKids.
    void RemoveKid(std::int32_t handle);
    void SortKids();
    /// Position of the handle; the last when it stands twice, 0 also when unknown.
    std::int16_t FindKid(std::int32_t handle) const;
    /// Sends windows to the back until the one in this slot is active, KidCount times at most.
    void MakeKidActive(std::int16_t index);
    /// The windows' titles (160 characters at most), joined by ";".
    QString BuildKidList() const;

  private:
    std::size_t count() const { return static_cast<std::size_t>(KidCount); }

    Windows windows_;
    std::vector<std::int32_t> kids_;
};

}  // namespace quillmark::program
