// The intrusive list. Every state is checked through both walks, the count, find over
// every item and the raw ring, so a ring broken in one direction only shows up.
#include "orvsys/orv_list.h"

#include <sstream>

#include "support/orv_test.h"

namespace {

// Bare links are records that begin with the links: item i is named 'i'.
orv_list_node_t items[8];

char Id(void *e) { return static_cast<char>('0' + (static_cast<orv_list_node_t *>(e) - items)); }

std::string Describe(orv_list_t *list) {
    std::string forward, backward, found;
    // A walk that wraps past an end would never stop: 9 steps are enough.
    for (void *e = orv_list_begin(list); e && forward.size() < 9; e = orv_list_next(list, e))
        forward += Id(e);
    for (void *e = orv_list_end(list); e && backward.size() < 9; e = orv_list_prev(list, e))
        backward = Id(e) + backward;
    for (int i = 0; i < 8; ++i) found += orv_list_find(list, &items[i]) ? Id(&items[i]) : '.';
    orv_list_node_t *node = list->first;  // the raw ring closes after as many steps as the walk
    for (size_t i = 0; node != nullptr && i < forward.size(); ++i) node = node->next;
    return forward + "|" + backward + "|" + std::to_string(orv_list_count(list)) + "|" + found +
           (node == list->first ? "" : " not closed");
}

// What Describe gives for a list of exactly these items in this order.
std::string Want(const std::string &ids) {
    std::string found = "........";
    for (char c : ids) found[c - '0'] = c;
    return ids + "|" + ids + "|" + std::to_string(ids.size()) + "|" + found;
}

// Steps on fresh items and list: "b3" push_back of item 3, "f3" push_front, "i2.5"
// insert item 5 behind item 2, "r3" remove, "<3" and ">3" pop_front and pop_back of 3.
std::string Play(const std::string &script, orv_list_t *list) {
    std::memset(items, 0, sizeof items);
    *list = orv_list_t{};
    std::istringstream steps(script);
    for (std::string s; steps >> s;) {
        orv_list_node_t *item = &items[s[1] - '0'];
        switch (s[0]) {
        case 'b': EXPECT_EQ(orv_list_push_back(list, item), 1) << s; break;
        case 'f': EXPECT_EQ(orv_list_push_front(list, item), 1) << s; break;
        case 'i': EXPECT_EQ(orv_list_insert(item, &items[s[3] - '0']), 1) << s; break;
        case 'r': EXPECT_EQ(orv_list_remove(list, item), 1) << s; break;
        case '<': EXPECT_EQ(orv_list_pop_front(list), item) << s; break;
        case '>': EXPECT_EQ(orv_list_pop_back(list), item) << s; break;
        }
    }
    return Describe(list);
}

TEST(List, OperationsKeepTheRingInOrderAndRefusalsLeaveItAlone) {
    // clang-format off
    struct Row { const char *script; const char *ids; };
    const Row rows[] = {{"b0", "0"}, {"f0", "0"}, {"b1 b2 b3 f0", "0123"}, {"f2 f1 f0 b3", "0123"},
        {"b0 i0.1", "01"}, {"b0 b2 i0.1", "012"}, {"b0 b1 i1.2", "012"}, {"b0 r0", ""},
        {"b0 b1 b2 r0", "12"}, {"b0 b1 b2 r1", "02"}, {"b0 b1 b2 r2", "01"},
        {"b0 b1 r0 r1 f2", "2"}, {"b0 b1 b2 b3 <0 >3", "12"}, {"b0 b1 >1 <0", ""}};
    // clang-format on
    orv_list_t list;
    for (const Row &row : rows) EXPECT_EQ(Play(row.script, &list), Want(row.ids)) << row.script;
    Play("b4 r4", &list);  // a removed element keeps its links: the only one points at itself
    EXPECT_TRUE(items[4].next == &items[4] && items[4].prev == &items[4]);
    Play("", &list);  // refusals from here on leave the list alone; Describe covers begin, end
    orv_list_free(&list);
    for (void *got : {orv_list_pop_front(&list), orv_list_pop_back(&list),
                      orv_list_next(&list, &items[0]), orv_list_prev(&list, &items[0])})
        EXPECT_EQ(got, nullptr);
    EXPECT_EQ(orv_list_remove(&list, &items[0]), 0);
    EXPECT_EQ(Describe(&list), Want(""));
    Play("b0 b1 b2", &list);
    EXPECT_EQ(orv_list_push_front(&list, nullptr) + orv_list_push_back(&list, nullptr) +
                  orv_list_insert(&items[1], nullptr) + orv_list_insert(nullptr, &items[3]) +
                  orv_list_remove(&list, nullptr) + orv_list_find(&list, nullptr) +
                  !!orv_list_next(&list, nullptr) + !!orv_list_prev(&list, nullptr),
              0);
    EXPECT_EQ(Describe(&list), Want("012"));
    EXPECT_EQ(items[3].next, nullptr) << "a refused insert touched the element";
}

// Every element's block goes (ASan reports a leak or a double release), and the emptied
// list is used again.
TEST(List, FreeReleasesEveryElementAndLeavesAReusableList) {
    orv_list_t list{};
    for (int size : {3, 1}) {
        for (int i = 0; i < size; ++i)
            orv_list_push_back(&list, std::calloc(1, sizeof(orv_list_node_t)));
        EXPECT_EQ(orv_list_count(&list), size);
        orv_list_free(&list);
        EXPECT_EQ(list.first, nullptr);
    }
}

}  // namespace
