#include "input/heap_sort.hpp"

#include <functional>
#include <numeric>
#include <utility>

namespace orvel {

namespace {

// Lets the value at `root` sink until no child of it, below `end`, comes after it in the order.
template <class T, class Before>
void sift_down(T *values, int *index, int root, int end, Before before) {
    const T value = values[root];
    const int place = index[root];
    // Counted in halves: 2 i + 1 of a huge heap would not fit.
    while (root < end / 2) {
        int child = 2 * root + 1;
        if (child < end - 1 && before(values[child], values[child + 1])) {
            ++child;
        }
        if (!before(value, values[child])) {
            break;
        }
        values[root] = values[child];
        index[root] = index[child];
        root = child;
    }
    values[root] = value;
    index[root] = place;
}

// The heap keeps the value that comes last in the order at its root.
template <class T, class Before> void heapsort(int n, T *values, int *index, Before before) {
    if (n < 1) {
        return;
    }
    std::iota(index, index + n, 0);
    for (int root = n / 2 - 1; root >= 0; --root) {
        sift_down(values, index, root, n, before);
    }
    for (int end = n - 1; end > 0; --end) {
        std::swap(values[0], values[end]);
        std::swap(index[0], index[end]);
        sift_down(values, index, 0, end, before);
    }
}

} // namespace

void d_heapsort(int n, double *values, int *index) {
    heapsort(n, values, index, std::greater<double>());
}

void d_heapsort_ascend(int n, double *values, int *index) {
    heapsort(n, values, index, std::less<double>());
}

void i_heapsort(int n, int *values, int *index) {
    heapsort(n, values, index, std::greater<int>());
}

void i_heapsort_ascend(int n, int *values, int *index) {
    heapsort(n, values, index, std::less<int>());
}

} // namespace orvel
