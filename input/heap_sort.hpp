// Heap sorts that tell where each value came from.
#pragma once

namespace orvel {

// Each sorts n values in place and fills index, of n elements, with the place that each sorted
// value had before. The order of equal values is the one that the heap leaves. Places of nan are
// unspecified.
void d_heapsort(int n, double *values, int *index);        // descending
void d_heapsort_ascend(int n, double *values, int *index); // ascending
void i_heapsort(int n, int *values, int *index);           // descending
void i_heapsort_ascend(int n, int *values, int *index);    // ascending

} // namespace orvel
