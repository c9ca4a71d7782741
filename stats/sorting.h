#pragma once

#include "export.h"

/// @file
/// Sorting, index sorting and selection of the k-th smallest value, in place. Index base: 1, all arrays. Ascending.
/// The three quicksorts take the median of three as pivot, finish parts of at most 7 elements by straight insertion and
/// keep the bounds of pending parts in a stack of 60 ints; they always put the larger part aside, so no n below 2^31
/// (more is not supported) fills it. None of the routines is stable: the order of equal keys is fixed but not the
/// original one. With NaN among the keys a routine ends and yields a permutation whose order means nothing.
/// State: none.

/// Sorts by quicksort.
/// @param n    number of elements, below 2^31; 0 and 1 change nothing.
/// @param arr  [1..n] in-out.
/// *Fatal*: "NSTACK too small in sort.", "allocation failure in ivector()".
/// *Method*: Hoare (1962), Sedgewick (1978).
ORIDAN_API void sort(unsigned long n, float* arr);

/// Sorts by quicksort and takes a second array along: brr[j] stays the partner of arr[j].
/// @param n    number of elements, below 2^31; 0 and 1 change nothing.
/// @param arr  [1..n] in-out, the keys.
/// @param brr  [1..n] in-out, undergoes the permutation of arr; its values are not looked at.
/// *Fatal*: "NSTACK too small in sort2.", "allocation failure in ivector()".
/// *Method*: Hoare (1962), Sedgewick (1978).
ORIDAN_API void sort2(unsigned long n, float* arr, float* brr);

/// Index table by quicksort: arr[indx[1]] <= arr[indx[2]] <= ... <= arr[indx[n]].
/// @param n     number of elements, below 2^31.
/// @param arr   [1..n] the keys; not changed.
/// @param indx  [1..n] out, a permutation of 1..n.
/// *Fatal*: "NSTACK too small in indexx.", "allocation failure in ivector()".
/// *Method*: Hoare (1962), Sedgewick (1978).
ORIDAN_API void indexx(unsigned long n, float* arr, unsigned long* indx);

/// Sorts by heapsort: no work space, and n log n steps for any input.
/// @param n   number of elements; 0 and 1 change nothing.
/// @param ra  [1..n] in-out.
/// *Method*: Williams (1964).
ORIDAN_API void hpsort(unsigned long n, float* ra);

/// The k-th smallest of n values. Unchecked: k must lie in 1..n.
/// @param k    rank, 1..n.
/// @param n    number of elements.
/// @param arr  [1..n] in-out, rearranged: arr[1..k-1] <= arr[k] <= arr[k+1..n], in no particular order on either side.
/// @return arr[k] after the rearrangement.
/// *Method*: Hoare (1961), median of three.
///@{
ORIDAN_API float select(unsigned long k, unsigned long n, float* arr);
ORIDAN_API unsigned short select_ushort(unsigned long k, unsigned long n, unsigned short* arr);
///@}
