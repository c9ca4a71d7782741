#pragma once

/// True when the last svdcmp left a singular value unconverged after 100 QR steps. Cleared at every entry
/// to svdcmp; read right after the call by getInverseMatrixUsingSVD. Internal to the module.
extern bool NoConvergenceInSVD;
