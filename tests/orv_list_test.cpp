// The intrusive list: order in both walking directions, the ring links
// behind it, the null and empty refusals, and orv_list_free.
//
// Each state is checked through the public walk (begin/next and end/prev)
// and directly on the links, so that a ring that walks right one way but is
// broken the other way is caught.
#include "orvsys/orv_list.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace {

struct Item {
    orv_list_node_t node;  // must come first
    int id;
};

std::string Show(const std::vector<int> &ids) {
    std::string text = "[";
    for (size_t i = 0; i < ids.size(); ++i) {
        if (i > 0) text += ',';
        text += std::to_string(ids[i]);
    }
    return text + "]";
}

std::vector<int> Forward(orv_list_t *list) {
    std::vector<int> ids;
    for (void *e = orv_list_begin(list); e != nullptr; e = orv_list_next(list, e)) {
        ids.push_back(static_cast<Item *>(e)->id);
        if (ids.size() > 64) break;  // a walk that wraps would never end
    }
    return ids;
}

std::vector<int> Backward(orv_list_t *list) {
    std::vector<int> ids;
    for (void *e = orv_list_end(list); e != nullptr; e = orv_list_prev(list, e)) {
        ids.insert(ids.begin(), static_cast<Item *>(e)->id);
        if (ids.size() > 64) break;
    }
    return ids;
}

// The list holds exactly `ids` in this order, seen by both walks, by the
// count and by the raw ring in both directions.
void ExpectOrder(orv_list_t *list, const std::vector<int> &ids) {
    SCOPED_TRACE("expected " + Show(ids));
    EXPECT_EQ(Show(Forward(list)), Show(ids));
    EXPECT_EQ(Show(Backward(list)), Show(ids));
    EXPECT_EQ(orv_list_count(list), static_cast<int>(ids.size()));
    if (ids.empty()) {
        EXPECT_EQ(list->first, nullptr);
        return;
    }
    ASSERT_NE(list->first, nullptr);
    orv_list_node_t *node = list->first;
    for (size_t i = 0; i < ids.size(); ++i) {
        EXPECT_EQ(reinterpret_cast<Item *>(node)->id, ids[i]) << "at " << i;
        EXPECT_EQ(node->next->prev, node) << "ring broken behind element " << ids[i];
        EXPECT_EQ(node->prev->next, node) << "ring broken before element " << ids[i];
        node = node->next;
    }
    EXPECT_EQ(node, list->first) << "the last element's next is not the first";
}

class List : public ::testing::Test {
protected:
    Item items_[8];
    orv_list_t list_{};

    void SetUp() override {
        for (int i = 0; i < 8; ++i) {
            items_[i].node.next = nullptr;
            items_[i].node.prev = nullptr;
            items_[i].id = i;
        }
    }
    Item *at(int i) { return &items_[i]; }
    void FillBack(std::initializer_list<int> ids) {
        for (int id : ids) ASSERT_EQ(orv_list_push_back(&list_, at(id)), 1);
    }
};

TEST_F(List, EmptyListGivesNullAndZero) {
    EXPECT_EQ(orv_list_begin(&list_), nullptr);
    EXPECT_EQ(orv_list_end(&list_), nullptr);
    EXPECT_EQ(orv_list_pop_front(&list_), nullptr);
    EXPECT_EQ(orv_list_pop_back(&list_), nullptr);
    EXPECT_EQ(orv_list_count(&list_), 0);
    // Whatever element is named, an empty list has no neighbours for it.
    EXPECT_EQ(orv_list_next(&list_, at(0)), nullptr);
    EXPECT_EQ(orv_list_prev(&list_, at(0)), nullptr);
    EXPECT_EQ(orv_list_remove(&list_, at(0)), 0);
    EXPECT_EQ(orv_list_find(&list_, at(0)), 0);
    orv_list_free(&list_);
    EXPECT_EQ(list_.first, nullptr);
    // The element named was left alone.
    EXPECT_EQ(at(0)->node.next, nullptr);
    EXPECT_EQ(at(0)->node.prev, nullptr);
}

TEST_F(List, NullElementsAreRefusedAndLeaveTheListAlone) {
    FillBack({0, 1, 2});
    EXPECT_EQ(orv_list_push_front(&list_, nullptr), 0);
    EXPECT_EQ(orv_list_push_back(&list_, nullptr), 0);
    EXPECT_EQ(orv_list_insert(at(1), nullptr), 0);
    EXPECT_EQ(orv_list_insert(nullptr, at(3)), 0);
    EXPECT_EQ(orv_list_remove(&list_, nullptr), 0);
    EXPECT_EQ(orv_list_find(&list_, nullptr), 0);
    EXPECT_EQ(orv_list_next(&list_, nullptr), nullptr);
    EXPECT_EQ(orv_list_prev(&list_, nullptr), nullptr);
    ExpectOrder(&list_, {0, 1, 2});
    EXPECT_EQ(at(3)->node.next, nullptr) << "a refused insert touched the element";
}

TEST_F(List, FirstPushMakesARingOfOne) {
    using Push = int (*)(void *, void *);
    const struct {
        const char *name;
        Push push;
    } rows[] = {{"push_front", orv_list_push_front}, {"push_back", orv_list_push_back}};
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        orv_list_t list{};
        Item item{};
        ASSERT_EQ(row.push(&list, &item), 1);
        EXPECT_EQ(list.first, &item.node);
        EXPECT_EQ(item.node.next, &item.node);
        EXPECT_EQ(item.node.prev, &item.node);
        EXPECT_EQ(orv_list_begin(&list), &item);
        EXPECT_EQ(orv_list_end(&list), &item);
        EXPECT_EQ(orv_list_next(&list, &item), nullptr);
        EXPECT_EQ(orv_list_prev(&list, &item), nullptr);
        EXPECT_EQ(orv_list_find(&list, &item), 1);
        EXPECT_EQ(orv_list_count(&list), 1);
    }
}

TEST_F(List, PushesBuildTheOrderBothWays) {
    FillBack({1, 2, 3});
    ExpectOrder(&list_, {1, 2, 3});
    // push_front on three: the new one is first, the old last points at it.
    ASSERT_EQ(orv_list_push_front(&list_, at(0)), 1);
    ExpectOrder(&list_, {0, 1, 2, 3});
    EXPECT_EQ(list_.first, &at(0)->node);
    EXPECT_EQ(at(3)->node.next, &at(0)->node);
    EXPECT_EQ(at(0)->node.prev, &at(3)->node);
    // push_back leaves first alone.
    ASSERT_EQ(orv_list_push_back(&list_, at(4)), 1);
    EXPECT_EQ(list_.first, &at(0)->node);
    ExpectOrder(&list_, {0, 1, 2, 3, 4});
}

TEST_F(List, WalksStopAtTheEndsWithoutWrapping) {
    FillBack({0, 1, 2});
    EXPECT_EQ(orv_list_next(&list_, at(2)), nullptr) << "next of the last wrapped";
    EXPECT_EQ(orv_list_prev(&list_, at(0)), nullptr) << "prev of the first wrapped";
    EXPECT_EQ(orv_list_next(&list_, at(0)), at(1));
    EXPECT_EQ(orv_list_prev(&list_, at(2)), at(1));
    EXPECT_EQ(orv_list_begin(&list_), at(0));
    EXPECT_EQ(orv_list_end(&list_), at(2)) << "end is the last element, not a place behind it";
}

TEST_F(List, InsertLinksBehindThePosition) {
    FillBack({0, 2});
    ASSERT_EQ(orv_list_insert(at(0), at(1)), 1);
    ExpectOrder(&list_, {0, 1, 2});
    // Behind the last: begin stays, end is the new element.
    ASSERT_EQ(orv_list_insert(at(2), at(3)), 1);
    EXPECT_EQ(orv_list_begin(&list_), at(0));
    EXPECT_EQ(orv_list_end(&list_), at(3));
    ExpectOrder(&list_, {0, 1, 2, 3});
    // Behind the only element of a list of one.
    orv_list_t single{};
    ASSERT_EQ(orv_list_push_back(&single, at(5)), 1);
    ASSERT_EQ(orv_list_insert(at(5), at(6)), 1);
    EXPECT_EQ(orv_list_begin(&single), at(5));
    ExpectOrder(&single, {5, 6});
}

TEST_F(List, RemoveByPosition) {
    struct Row {
        std::vector<int> before;
        int removed;
        std::vector<int> after;
    };
    const Row rows[] = {
        {{0}, 0, {}},
        {{0, 1, 2}, 0, {1, 2}},  // the successor becomes first
        {{0, 1, 2}, 1, {0, 2}},
        {{0, 1, 2}, 2, {0, 1}},  // first stays; end is the one before
        {{0, 1}, 1, {0}},
        {{0, 1}, 0, {1}},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE("remove " + std::to_string(row.removed) + " from " + Show(row.before));
        SetUp();
        orv_list_t list{};
        for (int id : row.before) ASSERT_EQ(orv_list_push_back(&list, at(id)), 1);
        orv_list_node_t *const old_first = list.first;
        const orv_list_node_t links = at(row.removed)->node;
        ASSERT_EQ(orv_list_remove(&list, at(row.removed)), 1);
        ExpectOrder(&list, row.after);
        if (!row.after.empty()) {
            EXPECT_EQ(orv_list_end(&list), at(row.after.back()));
            if (row.removed != row.before.front()) {
                EXPECT_EQ(list.first, old_first);
            }
        }
        EXPECT_EQ(orv_list_find(&list, at(row.removed)), 0);
        // Its own links keep the values they had.
        EXPECT_EQ(at(row.removed)->node.next, links.next);
        EXPECT_EQ(at(row.removed)->node.prev, links.prev);
    }
}

TEST_F(List, OnlyElementKeepsPointingAtItselfAfterRemoval) {
    FillBack({4});
    ASSERT_EQ(orv_list_remove(&list_, at(4)), 1);
    EXPECT_EQ(list_.first, nullptr);
    EXPECT_EQ(at(4)->node.next, &at(4)->node);
    EXPECT_EQ(at(4)->node.prev, &at(4)->node);
}

TEST_F(List, PopsTakeTheEnds) {
    FillBack({0, 1, 2, 3});
    EXPECT_EQ(orv_list_pop_front(&list_), at(0));
    ExpectOrder(&list_, {1, 2, 3});
    EXPECT_EQ(orv_list_pop_back(&list_), at(3));
    ExpectOrder(&list_, {1, 2});
    EXPECT_EQ(orv_list_pop_back(&list_), at(2));
    EXPECT_EQ(orv_list_pop_front(&list_), at(1));
    ExpectOrder(&list_, {});
    EXPECT_EQ(orv_list_pop_front(&list_), nullptr);
    EXPECT_EQ(orv_list_pop_back(&list_), nullptr);
}

TEST_F(List, FindLooksAtEveryElement) {
    FillBack({0, 1, 2, 3});
    for (int id : {0, 1, 2, 3}) {
        EXPECT_EQ(orv_list_find(&list_, at(id)), 1) << "element " << id;
    }
    EXPECT_EQ(orv_list_find(&list_, at(5)), 0) << "an element on no list was found";
    // An element on another list is not on this one.
    orv_list_t other{};
    ASSERT_EQ(orv_list_push_back(&other, at(6)), 1);
    EXPECT_EQ(orv_list_find(&list_, at(6)), 0);
    EXPECT_EQ(orv_list_find(&other, at(6)), 1);
    EXPECT_EQ(orv_list_find(&other, at(0)), 0);
}

TEST_F(List, RemovingDuringAWalkWithTheSuccessorFetchedFirst) {
    FillBack({0, 1, 2, 3, 4, 5});
    std::vector<int> seen;
    for (void *e = orv_list_begin(&list_); e != nullptr;) {
        void *next = orv_list_next(&list_, e);
        const int id = static_cast<Item *>(e)->id;
        seen.push_back(id);
        if (id % 2 == 0) {
            ASSERT_EQ(orv_list_remove(&list_, e), 1);
        }
        e = next;
    }
    EXPECT_EQ(Show(seen), Show({0, 1, 2, 3, 4, 5}));
    ExpectOrder(&list_, {1, 3, 5});

    // Backwards, taking every element: the list ends empty.
    seen.clear();
    for (void *e = orv_list_end(&list_); e != nullptr;) {
        void *prev = orv_list_prev(&list_, e);
        seen.push_back(static_cast<Item *>(e)->id);
        ASSERT_EQ(orv_list_remove(&list_, e), 1);
        e = prev;
    }
    EXPECT_EQ(Show(seen), Show({5, 3, 1}));
    ExpectOrder(&list_, {});
}

TEST_F(List, RemovingEverythingForwardEmptiesTheList) {
    FillBack({0, 1, 2});
    int steps = 0;
    for (void *e = orv_list_begin(&list_); e != nullptr && steps < 16; ++steps) {
        void *next = orv_list_next(&list_, e);
        ASSERT_EQ(orv_list_remove(&list_, e), 1);
        e = next;
    }
    EXPECT_EQ(steps, 3);
    ExpectOrder(&list_, {});
}

TEST_F(List, ElementsMoveBetweenLists) {
    FillBack({0, 1, 2});
    orv_list_t other{};
    for (void *e = orv_list_pop_back(&list_); e != nullptr; e = orv_list_pop_back(&list_)) {
        ASSERT_EQ(orv_list_push_back(&other, e), 1);
    }
    ExpectOrder(&list_, {});
    ExpectOrder(&other, {2, 1, 0});
}

// Elements from calloc, released by orv_list_free; the ASan run reports any
// element it leaves behind and any it releases twice.
TEST(ListFree, ReleasesEveryElementAndLeavesAReusableList) {
    for (int size : {1, 2, 5}) {
        SCOPED_TRACE("elements: " + std::to_string(size));
        orv_list_t list{};
        for (int i = 0; i < size; ++i) {
            auto *item = static_cast<Item *>(std::calloc(1, sizeof(Item)));
            ASSERT_NE(item, nullptr);
            item->id = i;
            ASSERT_EQ(orv_list_push_back(&list, item), 1);
        }
        ASSERT_EQ(orv_list_count(&list), size);
        orv_list_free(&list);
        EXPECT_EQ(list.first, nullptr);
        EXPECT_EQ(orv_list_count(&list), 0);

        // The same head takes a new element.
        auto *again = static_cast<Item *>(std::calloc(1, sizeof(Item)));
        ASSERT_NE(again, nullptr);
        ASSERT_EQ(orv_list_push_back(&list, again), 1);
        EXPECT_EQ(orv_list_count(&list), 1);
        EXPECT_EQ(orv_list_begin(&list), again);
        orv_list_free(&list);
        EXPECT_EQ(list.first, nullptr);
    }
}

// Only the element's own block goes: what it points to stays the caller's.
TEST(ListFree, LeavesWhatElementsPointTo) {
    struct Owner {
        orv_list_node_t node;
        int *payload;
    };
    int payload = 42;
    orv_list_t list{};
    auto *owner = static_cast<Owner *>(std::calloc(1, sizeof(Owner)));
    ASSERT_NE(owner, nullptr);
    owner->payload = &payload;  // not from the allocator: freeing it would crash
    ASSERT_EQ(orv_list_push_back(&list, owner), 1);
    orv_list_free(&list);
    EXPECT_EQ(list.first, nullptr);
    EXPECT_EQ(payload, 42);
}

}  // namespace
