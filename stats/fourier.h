#pragma once

#include "export.h"

/// @file
/// Radix-2 fast Fourier transforms of single-precision data, and convolution by them. Index base: 1, except zeropad.
///
/// A complex sequence of N elements is interleaved in 2N floats: element j = 1..N has its real part at 2j - 1 and its
/// imaginary part at 2j. With isign = 1 a transform is H_n = sum over k of h_k exp(+2 pi i k n / N), with isign = -1
/// the exponent is negative. No transform scales its result.
///
/// Every length must be a power of two. That is not checked: any other length gives wrong values without a message,
/// without touching anything outside the stated arrays.
///
/// Precision: twiddle factors by a trigonometric recurrence in double; each product with them in double, stored as
/// float; all else in float. Each error stated below is the norm of (result - exact transform) relative to the norm of
/// the exact transform, for lengths up to 4096 of random, sinusoidal and offset data.
/// State: none.

/// Complex transform in one dimension, in place. isign = 1 and then isign = -1 multiplies the data by nn.
/// @param data   [1..2nn] in-out, complex.
/// @param nn     number of complex elements.
/// @param isign  1 or -1.
///
/// Error: at most 1.5e-7.
/// *Method*: Cooley and Tukey (1965), with the recursion of Danielson and Lanczos (1942).
ORIDAN_API void four1(float* data, unsigned long nn, int isign);

/// Complex transform in any number of dimensions, in place. isign = 1 and then isign = -1 multiplies the data by the
/// number of elements.
/// @param data   [1..2 nn[1] ... nn[ndim]] in-out, complex; the last index varies fastest.
/// @param nn     [1..ndim] length of each dimension. A length of 0 changes nothing.
/// @param ndim   number of dimensions; 0 or less changes nothing.
/// @param isign  1 or -1.
///
/// Error: at most 1.5e-7 (two and three dimensions, up to 4096 elements).
/// *Method*: as four1, along each dimension from the last to the first.
ORIDAN_API void fourn(float* data, unsigned long* nn, int ndim, int isign);

/// Transform of n real values, in place. With F_k the transform, forward gives F_0 in data[1], F_(n/2) (both are real)
/// in data[2], and the real and imaginary part of F_k in data[2k+1] and data[2k+2] for k = 1..n/2 - 1. The inverse
/// takes that form and yields n/2 times the real values: the caller multiplies by 2/n.
/// @param data   [1..n] in-out.
/// @param n      number of real values; below 2 nothing is changed.
/// @param isign  1: forward. Any other value: inverse.
///
/// Error: at most 1.5e-7 forward (n/2 + 1 frequencies compared), 2e-7 forward and back.
/// *Method*: Cooley, Lewis and Welch (1970).
ORIDAN_API void realft(float* data, unsigned long n, int isign);

/// Transform of a real array in three dimensions, in place; of one in two dimensions with nn1 = 1. Forward yields the
/// frequencies 0..nn3/2 - 1 of the last dimension in data (complex, interleaved) and the frequency nn3/2 in speq. The
/// inverse takes that form and yields nn1*nn2*nn3/2 times the real values.
/// @param data           [1..nn1][1..nn2][1..nn3] in-out. Must be one contiguous block (as f3tensor makes), which is
///                       not checked.
/// @param speq           [1..nn1][1..2nn2] out (forward) or in-out (inverse, destroyed), complex.
/// @param nn1, nn2, nn3  lengths. With nn1 or nn2 of 0, or nn3 below 2, nothing is changed.
/// @param isign          1: forward. -1: inverse.
///
/// Error: at most 1.5e-7 forward, 2e-7 forward and back (up to 4096 elements).
/// *Method*: Cooley, Lewis and Welch (1970) in the last dimension, fourn in the others.
ORIDAN_API void rlft3(float*** data, float** speq, unsigned long nn1, unsigned long nn2, unsigned long nn3, int isign);

/// Transforms (isign = 1) of two real arrays with one complex transform. The two spectra leak into each other at the
/// level of rounding: where one array is much smaller than the other, its error is relative to the larger.
/// @param data1, data2  [1..n] in.
/// @param fft1, fft2    [1..2n] out, complex: the whole spectra, negative frequencies included.
/// @param n             length.
///
/// Error: at most 1.5e-7, relative to the norm of both spectra together.
/// *Method*: Cooley, Lewis and Welch (1970).
ORIDAN_API void twofft(float* data1, float* data2, float* fft1, float* fft2, unsigned long n);

/// Convolves data with a response, or takes such a convolution back. Circular: values near the ends wrap round, unless
/// the data are followed by at least (m - 1)/2 zeros. Normalised. Needs n >= 2.
/// @param data     [1..n] in.
/// @param n        number of values.
/// @param respns   [1..n] in-out; the response stands in [1..m]: lags 0, 1, 2, ... from respns[1] upwards and lags -1,
///                 -2, ... from respns[m] downwards. The negative lags are moved to the end, zeros put between.
/// @param m        length of the response, odd, at most n (more counts as n, 0 as a response of zeros; an even m loses
///                 its middle element).
/// @param isign    1: convolution. -1: deconvolution.
/// @param ans      [1..2n] out; the result in [1..n], the rest is work space.
///
/// *Fatal*: "Deconvolving at response zero in convlv" (a frequency that the response lacks: its squared magnitude, in
/// float, is 0), "No meaning for isign in convlv", "allocation failure in vector()".
///
/// Error of a convolution: at most 1e-7 of the sum of the squared norms of data and response. Both go through one
/// transform, so a response that is tiny beside the data (or the reverse) loses digits: scale them alike.
/// *Method*: Stockham (1966).
ORIDAN_API void convlv(float* data, unsigned long n, float* respns, unsigned long m, int isign, float* ans);

/// Copies n values and appends zeros up to m values. Index base: 0, unlike all other routines here.
/// @param in   [0..n-1].
/// @param n    values copied, also where m is smaller; negative counts as 0.
/// @param out  [0..max(n, m)-1] out.
/// @param m    length with the zeros; no zeros are written where it is n or less.
ORIDAN_API void zeropad(float* in, int n, float* out, int m);
