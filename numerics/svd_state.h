#pragma once

/// True when a singular value of the last svdcmp had not converged at the 100th test. Cleared at every entry
/// to svdcmp; read right after the call by getInverseMatrixUsingSVD. Internal to the module.
extern bool NoConvergenceInSVD;
