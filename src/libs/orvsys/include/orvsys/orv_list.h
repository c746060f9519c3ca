/* orvsys: the intrusive circular list.
 *
 * The links live at the very start of the caller's own records, so a
 * pointer to an element and to its links are the same pointer; elements
 * and the list go in and out as untyped pointers. A zeroed orv_list_t is an
 * empty list. The list owns only the order: nothing allocates, and only
 * orv_list_free releases (the elements, which must come from malloc or
 * calloc). No locks: callers serialise.
 *
 * Walk with orv_list_begin / orv_list_next until null (or orv_list_end /
 * orv_list_prev); to remove the current element during a walk, fetch its
 * successor first. The list argument must not be null. An element is on
 * at most one list; the list does not check which.
 */
#ifndef ORVSYS_ORV_LIST_H
#define ORVSYS_ORV_LIST_H

#include "orvsys/orv_base.h"

ORV_BEGIN_DECLS

/* The links: the first field of every element. While the element is on a
 * list a caller may read them; only the list operations write them. */
typedef struct orv_list_node_t {
    struct orv_list_node_t *next; /* the last element's next is the first */
    struct orv_list_node_t *prev; /* the first element's prev is the last */
} orv_list_node_t;

/* The caller zeroes it to make an empty list and may read first; after
 * that only the list operations write it. */
typedef struct orv_list_t {
    orv_list_node_t *first; /* null when empty */
} orv_list_t;

/* Element becomes the first / the last. 1; 0 for a null element. */
ORV_API int orv_list_push_front(void *list, void *element);
ORV_API int orv_list_push_back(void *list, void *element);
/* Unlinks and returns the first / the last element; null when empty. */
ORV_API void *orv_list_pop_front(void *list);
ORV_API void *orv_list_pop_back(void *list);
/* Links element directly behind position, an element already on a list
 * (the list's first element never changes this way). 0 for a null one. */
ORV_API int orv_list_insert(void *position, void *element);
/* Unlinks element, which must be on the list; its own links keep their
 * values. 0 for an empty list or a null element. */
ORV_API int orv_list_remove(void *list, void *element);
/* Elements on the list, by walking it. */
ORV_API int orv_list_count(void *list);
/* 1 when element is on the list (pointers compared). */
ORV_API int orv_list_find(void *list, void *element);
/* First / last element; null when empty. */
ORV_API void *orv_list_begin(void *list);
ORV_API void *orv_list_end(void *list);
/* Following / preceding element; null at the ends (never wraps), on an
 * empty list or for a null element. */
ORV_API void *orv_list_next(void *list, void *element);
ORV_API void *orv_list_prev(void *list, void *element);
/* Empties the list, releasing each element with free, first to last. */
ORV_API void orv_list_free(void *list);

ORV_END_DECLS

#endif /* ORVSYS_ORV_LIST_H */
