#include "program/document_list.h"

#include <gtest/gtest.h>

#include <map>

namespace quillmark::program {
namespace {

struct Desk {
    std::map<std::int32_t, QString> titles;
    std::vector<std::int32_t> order;  // active first
    DocumentList list{{[this](std::int32_t h) { return titles[h]; },
                       [this] { return order.empty() ? 0 : order.front(); },
                       [this] {
                           if (!order.empty()) std::rotate(order.begin(), order.begin() + 1, order.end());
                       }}};

    void open(std::int32_t handle, const QString& title) {
        titles[handle] = title;
        order.insert(order.begin(), handle);
        ++list.KidCount;
        list.RedimKids();
        list.AddKid(handle);
    }
    void close(std::int32_t handle) {
        list.RemoveKid(handle);
        --list.KidCount;
        list.RedimKids();
    }
};

TEST(DocumentList, KeepsHandlesAscendingWithOneSpareSlot) {
    Desk desk;
    EXPECT_EQ(desk.list.KidList(), std::vector<std::int32_t>{0});
    for (const std::int32_t handle : {30, -5, 20}) desk.open(handle, {});
    EXPECT_EQ(desk.list.KidList(), (std::vector<std::int32_t>{-5, 20, 30, 0}));
    desk.close(20);
    EXPECT_EQ(desk.list.KidList(), (std::vector<std::int32_t>{-5, 30, 0}));
    desk.close(99);  // unknown: the caller's count still goes down, as its protocol says
    EXPECT_EQ(desk.list.KidList().size(), 2U);
}

TEST(DocumentList, FindsHandlesAndTakesUnknownOnesForTheFirst) {
    Desk desk;
    for (const std::int32_t handle : {3, 1, 2}) desk.open(handle, {});
    EXPECT_EQ(desk.list.FindKid(3), 2);
    EXPECT_EQ(desk.list.FindKid(1), 0);
    EXPECT_EQ(desk.list.FindKid(77), 0);
}

TEST(DocumentList, MakesAWindowActiveBySendingOthersBack) {
    Desk desk;
    for (const std::int32_t handle : {1, 2, 3, 4}) desk.open(handle, {});
    desk.list.MakeKidActive(1);
    EXPECT_EQ(desk.order.front(), 2);
    const auto before = desk.order;
    desk.list.MakeKidActive(9);
    EXPECT_EQ(desk.order, before);
}

TEST(DocumentList, JoinsTitlesCutAt160) {
    Desk desk;
    EXPECT_EQ(desk.list.BuildKidList(), QString{});
    desk.open(2, QString(200, u'b'));
    desk.open(1, QStringLiteral("a"));
    EXPECT_EQ(desk.list.BuildKidList(), QStringLiteral("a;") + QString(160, u'b'));
}

}  // namespace
}  // namespace quillmark::program
