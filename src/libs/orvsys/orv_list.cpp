// The intrusive circular list. The last element is the first's prev, so
// every operation but count, find and free takes constant time.
#include "orvsys/orv_list.h"

#include <cstdlib>

namespace {

orv_list_t *as_list(void *list) { return static_cast<orv_list_t *>(list); }
orv_list_node_t *as_node(void *element) { return static_cast<orv_list_node_t *>(element); }

// Links node between prev and next.
void link_between(orv_list_node_t *node, orv_list_node_t *prev, orv_list_node_t *next) {
    node->next = next;
    node->prev = prev;
    prev->next = node;
    next->prev = node;
}

// Adds node to the ring in front of first, which makes it the last; an
// empty list gets node as its one element.
void link_last(orv_list_t *list, orv_list_node_t *node) {
    if (list->first == nullptr) {
        node->next = node;
        node->prev = node;
        list->first = node;
    } else {
        link_between(node, list->first->prev, list->first);
    }
}

}  // namespace

extern "C" {

ORV_API int orv_list_push_front(void *list, void *element) {
    if (element == nullptr) return 0;
    link_last(as_list(list), as_node(element));
    as_list(list)->first = as_node(element);
    return 1;
}

ORV_API int orv_list_push_back(void *list, void *element) {
    if (element == nullptr) return 0;
    link_last(as_list(list), as_node(element));
    return 1;
}

ORV_API int orv_list_insert(void *position, void *element) {
    if (element == nullptr || position == nullptr) return 0;
    orv_list_node_t *at = as_node(position);
    link_between(as_node(element), at, at->next);
    return 1;
}

ORV_API int orv_list_remove(void *list, void *element) {
    orv_list_t *l = as_list(list);
    orv_list_node_t *node = as_node(element);
    if (l->first == nullptr || node == nullptr) return 0;
    if (node->next == l->first && l->first == node) {
        l->first = nullptr;
        return 1;
    }
    if (l->first == node) l->first = node->next;
    node->next->prev = node->prev;
    node->prev->next = node->next;
    return 1;
}

ORV_API void *orv_list_pop_front(void *list) {
    orv_list_node_t *first = as_list(list)->first;
    if (first == nullptr) return nullptr;
    orv_list_remove(list, first);
    return first;
}

ORV_API void *orv_list_pop_back(void *list) {
    orv_list_node_t *first = as_list(list)->first;
    if (first == nullptr) return nullptr;
    orv_list_node_t *last = first->prev;
    orv_list_remove(list, last);
    return last;
}

ORV_API int orv_list_count(void *list) {
    int count = 0;
    for (void *e = orv_list_begin(list); e != nullptr; e = orv_list_next(list, e)) ++count;
    return count;
}

ORV_API int orv_list_find(void *list, void *element) {
    orv_list_node_t *first = as_list(list)->first;
    if (first == nullptr || element == nullptr) return 0;
    orv_list_node_t *node = first;
    while (node != element && node != first->prev) node = node->next;
    return node == element ? 1 : 0;
}

ORV_API void *orv_list_begin(void *list) { return as_list(list)->first; }

ORV_API void *orv_list_end(void *list) {
    orv_list_node_t *first = as_list(list)->first;
    return first != nullptr ? first->prev : nullptr;
}

ORV_API void *orv_list_next(void *list, void *element) {
    orv_list_node_t *first = as_list(list)->first;
    if (first == nullptr || element == nullptr) return nullptr;
    orv_list_node_t *next = as_node(element)->next;
    return next != first ? next : nullptr;
}

ORV_API void *orv_list_prev(void *list, void *element) {
    orv_list_node_t *first = as_list(list)->first;
    if (first == nullptr || element == nullptr || element == first) return nullptr;
    return as_node(element)->prev;
}

ORV_API void orv_list_free(void *list) {
    for (void *e = orv_list_pop_front(list); e != nullptr; e = orv_list_pop_front(list)) {
        std::free(e);
    }
}

}  // extern "C"
