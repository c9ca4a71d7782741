#pragma once

#include "export.h"

/// @file
/// The potential of a current dipole in a spherical model of the head. It keeps no state.

/// Potential at an electrode: the closed form of a series in Legendre polynomials of the cosine between dipole and
/// electrode, weighted with powers of the eccentricity |r0| / |r|. All coefficients are the model's own.
/// Index base: 0.   Precision: double. In units of 24.114385316954 |q| / |r|^2 the error stays below 5e-13 for
/// eccentricities from 0.01 to 0.9. Towards 0 it grows to 5e-10 (at 1e-6), towards 1 to 1e-4 (at 0.99, where the
/// potential reaches 3e4 such units).
/// @param r0  [0..2] position of the dipole from the centre of the sphere.
/// @param q   [0..2] moment of the dipole.
/// @param r   [0..2] position of the electrode, in the unit of r0.
/// @return the potential in the model's unit. An electrode at the centre, or at the dipole, gives a value that is not
///         finite.
/// Unchecked: all arguments; a dipole outside the electrode's radius gives a number without meaning.
ORIDAN_API double potential(double* r0, double* q, double* r);
