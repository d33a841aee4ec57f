// Sorting string arrays in place.
#include <cstring>

#include "orbbase/str/internal.h"

namespace orb {
namespace {

// Puts an element into the heap of the first count slots, at the root of the part whose root is free: larger
// children move up until it has its place.
template <class Order>
void sift_down(char** heap, size_t root, size_t count, char* element, Order order) {
  for (size_t child = 2 * root + 1; child < count; child = 2 * root + 1) {
    if (child + 1 < count && order(heap[child], heap[child + 1]) < 0) ++child;
    if (order(element, heap[child]) >= 0) break;
    heap[root] = heap[child];
    root = child;
  }
  heap[root] = element;
}

template <class Order>
char** heapsort(char** array, Order order) {
  const size_t count = array_count(array);
  if (count < 2) return array;
  for (size_t root = count / 2; root-- > 0;) sift_down(array, root, count, array[root], order);
  for (size_t last = count - 1; last > 0; --last) {
    char* element = array[last];
    array[last] = array[0];
    sift_down(array, 0, last, element, order);
  }
  return array;
}

}  // namespace
}  // namespace orb

char** STR_sort(char** array) { return orb::heapsort(array, STR_compare); }
char** STR_sort_collate(char** array) { return orb::heapsort(array, std::strcoll); }
