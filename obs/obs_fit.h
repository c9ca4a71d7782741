#pragma once

#include "fileio/ctc.h"

/// The optimal basis set fit of one segment of artifact occurrences of one channel.
/// Method: Niazy, Beckmann, Iannetti, Brady and Smith (2005), with the components taken from the covariance between
/// epochs, which is far smaller than the one over time.
namespace obs {

class SegmentSamples;

/// What a run was told, in samples.
struct FitSettings {
    int preS;        ///< samples before the trigger
    int postS;       ///< samples after it
    int L;           ///< epoch length, preS + postS + 1
    int N;           ///< artifacts per segment
    int P;           ///< components kept, at most N; 0 or less: nothing is subtracted
    int nTrials;     ///< triggers
    const int* trig; ///< [0..nTrials-1] trigger positions
};

/// Working storage of a run: allocated once, reused by every segment of every channel.
struct FitWorkspace {
    int N;
    int L;
    float** E;               ///< [0..N-1][0..L-1] epochs, one per row, their means removed
    float** C;               ///< [0..N-1][0..L-1] basis in rows 0..P-1
    double* Ed;              ///< [0..N*L-1] E widened, row-major
    double* G;               ///< [0..N*N-1] Gram matrix Ed Ed^T, row-major
    float* means;            ///< [0..N-1] epoch means
    float** K;               ///< [1..N][1..N] covariance between epochs
    float** V;               ///< [1..N][1..N] eigenvectors in columns
    float* d;                ///< [1..N] eigenvalues
    float** Vt;              ///< [0..N-1][0..N-1] in rows 0..P-1 the eigenvectors of the largest eigenvalues
    float** S;               ///< [0..N-1][0..N-1] normal matrix C C^T in the first P rows and columns
    float** Sinv;            ///< [0..N-1][0..N-1] its inverse
    float** Y;               ///< [0..N-1][0..N-1] row k: projections of epoch k on the components
    float* w;                ///< [0..N-1] coefficients
    int* triggers;           ///< [0..N-1] of the segment's occurrences
    SegmentSamples* samples; ///< the windows' samples on their way from and to the recording
};

/// Fatal: a failed allocation ends the process through nrerror; only that of SegmentSamples and of its table throws
/// std::bad_alloc, and nothing is held then.
FitWorkspace make_fit_workspace(int N, int L);
void free_fit_workspace(FitWorkspace& workspace);

/// Cleans the occurrences of one segment in one channel: reads the epochs from the recording as it stands, fits the
/// first P components to each and writes the remainder, with the epoch's mean restored, back in its place.
/// The last segment borrows the occurrences it lacks from the one before it (already cleaned); these shape the
/// basis and are not written again.
/// @param x        [0..L-1] epoch buffer. A window that the recording refuses to read leaves it as it was: the row
///                 then repeats the epoch read before it.
/// @param segment  0-based, holds triggers segment*N .. segment*N + N-1.
void fit_segment(const FitSettings& settings, FitWorkspace& workspace, float* x, CTCStruct* ctc, unsigned int channel,
                 int segment);

} // namespace obs
