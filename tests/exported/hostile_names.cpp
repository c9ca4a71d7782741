// The host's own functions and variables under the names of the module's: each function ends the process, the variables
// hold what would spoil every result.

#include <cstdio>
#include <cstdlib>

#include "fileio/ctc.h"
#include "fileio/ctc_channel.h"
#include "fileio/ctc_condition.h"
#include "fileio/cvx.h"
#include "fileio/stream_values.h"
#include "fileio/tfd.h"
#include "fileio/transio.h"
#include "numerics/arrays.h"
#include "numerics/dense.h"
#include "numerics/dipole.h"
#include "numerics/eigen.h"
#include "numerics/inverse.h"
#include "numerics/svd.h"
#include "numerics/transform4x4.h"
#include "plugin/oridan_plugin.h"
#include "stats/beta.h"
#include "stats/correlation.h"
#include "stats/error_function.h"
#include "stats/filters.h"
#include "stats/fitting.h"
#include "stats/fourier.h"
#include "stats/gamma.h"
#include "stats/hrf.h"
#include "stats/hypothesis.h"
#include "stats/interpolation.h"
#include "stats/minimum.h"
#include "stats/moments.h"
#include "stats/normal.h"
#include "stats/pvalues.h"
#include "stats/random.h"
#include "stats/sorting.h"
#include "stats/text_input.h"
#include "stats/text_output.h"

#define HOSTILE(result, name, parameters)                                                                              \
    result name parameters {                                                                                           \
        std::fputs("the module called the host's " #name "\n", stderr);                                                \
        std::abort();                                                                                                  \
    }

int g_dim = 3;
int g_dim_z = 3;
int g_nbsfns_dim = 0;
int NPRAED_STAT = 3;
int NPT_STAT = 3;
float** DesignMatrix = nullptr;

// fileio/ctc.h
HOSTILE(int, ReadEntireCTC, (CTCStruct*, const char*, unsigned int))
HOSTILE(int, WriteEntireCTC, (CTCStruct*, const char*, unsigned int))
HOSTILE(void, FreeCTCMemory, (CTCStruct*))
HOSTILE(void, PrintCTCHeader, (const CTCStruct*))

// fileio/ctc_channel.h
HOSTILE(unsigned int, GetChannelSamples, (float*, CTCStruct*, unsigned int, unsigned int, unsigned int))
HOSTILE(unsigned int, SetChannelSamples, (const float*, CTCStruct*, unsigned int, unsigned int, unsigned int))

// fileio/ctc_condition.h
HOSTILE(unsigned int, GetConditionChannelSamples,
        (float*, CTCStruct*, unsigned int, long, unsigned int, long, unsigned int))
HOSTILE(unsigned int, SetConditionChannelSamples,
        (const float*, CTCStruct*, unsigned int, long, unsigned int, long, unsigned int))

// fileio/cvx.h
HOSTILE(CVXStruct*, CreateCVX, (const char*, const char*, unsigned int, unsigned int, unsigned int, unsigned int))
HOSTILE(CVXStruct*, ReadCVX, (const char*))
HOSTILE(int, WriteCVX, (const CVXStruct*, const char*))
HOSTILE(void, FreeCVX, (CVXStruct**))

// fileio/stream_values.h
HOSTILE(void, IOSReadFloat, (std::fstream&, float*, unsigned int))
HOSTILE(void, IOSReadChar, (std::fstream&, signed char*, unsigned int))
HOSTILE(void, IOSReadShort, (std::fstream&, short*, unsigned int))
HOSTILE(void, IOSReadLong, (std::fstream&, int*, unsigned int))
HOSTILE(void, IOSReadULong, (std::fstream&, unsigned int*, unsigned int))
HOSTILE(void, IOSReadCString, (std::fstream&, char*, long))
HOSTILE(void, IOSWriteCString, (std::fstream&, const char*, long))

// fileio/tfd.h
HOSTILE(TFDStruct*, CreateTFD,
        (const char*, const char*, const char*, unsigned int, const unsigned int*, unsigned int, unsigned int,
         const float*, unsigned int, float, float, float, unsigned int, const unsigned int*))
HOSTILE(TFDStruct*, ReadTFD, (const char*))
HOSTILE(int, WriteTFD, (TFDStruct*, const char*))
HOSTILE(void, FreeTFD, (TFDStruct**, unsigned int))
HOSTILE(int, TFDReadTensor, (TFDTensorStruct*))
HOSTILE(int, TFDWriteTensor, (TFDTensorStruct*))
HOSTILE(void, TFDFreeTensor, (TFDTensorStruct*))

// fileio/transio.h
HOSTILE(int, transio_open,
        (transio_struct*, const char*, unsigned long long, unsigned int, const unsigned int*, unsigned int))
HOSTILE(int, transio_close, (transio_struct*))
HOSTILE(unsigned int, transio_read_buffer, (const transio_struct*, unsigned long long, unsigned int, void*))
HOSTILE(unsigned int, transio_write_buffer, (const transio_struct*, unsigned long long, unsigned int, const void*))
HOSTILE(unsigned char*, transio_read_uint8, (const transio_struct*, unsigned long long, unsigned int))
HOSTILE(unsigned short*, transio_read_uint16, (const transio_struct*, unsigned long long, unsigned int))
HOSTILE(unsigned int*, transio_read_uint32, (const transio_struct*, unsigned long long, unsigned int))
HOSTILE(float*, transio_read_float, (const transio_struct*, unsigned long long, unsigned int))
HOSTILE(signed char*, transio_read_int8, (const transio_struct*, unsigned long long, unsigned int))
HOSTILE(short*, transio_read_int16, (const transio_struct*, unsigned long long, unsigned int))
HOSTILE(int*, transio_read_int32, (const transio_struct*, unsigned long long, unsigned int))
HOSTILE(double*, transio_read_double, (const transio_struct*, unsigned long long, unsigned int))
HOSTILE(unsigned int, transio_write_uint8,
        (const transio_struct*, unsigned long long, unsigned int, const unsigned char*))
HOSTILE(unsigned int, transio_write_uint16,
        (const transio_struct*, unsigned long long, unsigned int, const unsigned short*))
HOSTILE(unsigned int, transio_write_uint32,
        (const transio_struct*, unsigned long long, unsigned int, const unsigned int*))
HOSTILE(unsigned int, transio_write_float, (const transio_struct*, unsigned long long, unsigned int, const float*))
HOSTILE(unsigned int, transio_write_int8, (const transio_struct*, unsigned long long, unsigned int, const signed char*))
HOSTILE(unsigned int, transio_write_int16, (const transio_struct*, unsigned long long, unsigned int, const short*))
HOSTILE(unsigned int, transio_write_int32, (const transio_struct*, unsigned long long, unsigned int, const int*))
HOSTILE(unsigned int, transio_write_double, (const transio_struct*, unsigned long long, unsigned int, const double*))

// numerics/arrays.h
HOSTILE([[noreturn]] void, nrerror, (const char*))
HOSTILE(float*, fvector, (long, long))
HOSTILE(int*, ivector, (long, long))
HOSTILE(double*, dvector, (long, long))
HOSTILE(unsigned long*, lvector, (long, long))
HOSTILE(unsigned char*, cvector, (long, long))
HOSTILE(void, free_fvector, (float*, long, long))
HOSTILE(void, free_ivector, (int*, long, long))
HOSTILE(void, free_dvector, (double*, long, long))
HOSTILE(void, free_lvector, (unsigned long*, long, long))
HOSTILE(void, free_cvector, (unsigned char*, long, long))
HOSTILE(float**, matrix, (long, long, long, long))
HOSTILE(double**, dmatrix, (long, long, long, long))
HOSTILE(int**, imatrix, (long, long, long, long))
HOSTILE(void, free_matrix, (float**, long, long, long, long))
HOSTILE(void, free_dmatrix, (double**, long, long, long, long))
HOSTILE(void, free_imatrix, (int**, long, long, long, long))
HOSTILE(float***, f3tensor, (long, long, long, long, long, long))
HOSTILE(unsigned char***, c3tensor, (long, long, long, long, long, long))
HOSTILE(void, free_f3tensor, (float***, long, long, long, long, long, long))
HOSTILE(void, free_c3tensor, (unsigned char***, long, long, long, long, long, long))
HOSTILE(float**, convert_matrix, (float*, long, long, long, long))
HOSTILE(float**, submatrix, (float**, long, long, long, long, long, long))
HOSTILE(void, free_convert_matrix, (float**, long, long, long, long))
HOSTILE(void, free_submatrix, (float**, long, long, long, long))
HOSTILE(float**, create2dArray, (int, int))
HOSTILE(void, delete2dArray, (float**, int, int))

// numerics/dense.h
HOSTILE(void, matrix_matrix_mult, (float**, float**, float**, int, int, int))
HOSTILE(void, matrix_matrix_mult_block, (float**, float**, float**, int, int, int))
HOSTILE(void, transposematrix_matrix_mult, (float**, float**, int, int))
HOSTILE(void, fast_matrix_matrix_mult, (float**, float**, float**, int, int, int, bool, bool))
HOSTILE(void, matrix_vector_mult, (float**, float*, float*, int, int))
HOSTILE(void, fast_matrix_vector_mult, (float**, float*, float*, int, int))
HOSTILE(float, vector_vector_mult, (float*, float*, int))
HOSTILE(void, matrix_transpose, (float**, float**, int, int))
HOSTILE(void, diagmatrix_matrix_mult, (float*, float**, int, int))
HOSTILE(void, copy_matrix, (float**, float**, int, int, int))

// numerics/dipole.h
HOSTILE(double, potential, (double*, double*, double*))

// numerics/eigen.h
HOSTILE(int, jacobi, (float**, int, float*, float**, int*))
HOSTILE(void, eigsrt, (float*, float**, int))

// numerics/inverse.h
HOSTILE(bool, getInverseMatrixUsingSVD, (float**, float**, int, bool))
HOSTILE(bool, getRegInverseMatrixUsingTSVD, (float**, float**, int, int))
HOSTILE(bool, getRegTransformedMatrixUsingTSVD, (float**, float**, int, int, int, int))
HOSTILE(bool, invertMatrix, (float**, float**, int))
HOSTILE(void, getSQRTMatrix, (float**, int))
HOSTILE(void, SVDregInverse, (double*, int, float, float))
HOSTILE(void, CSVDregInverse, (double*, double*, int, float, float))
HOSTILE(void, whitening, (float**, int, int, float, float**, float**, int*))

// numerics/svd.h
HOSTILE(void, svdcmp, (float**, int, int, float*, float**))
HOSTILE(int, svdcmp_tarn, (int, int, float**, float*, float**))
HOSTILE(float, pythag, (float, float))
HOSTILE(void, svbksb, (float**, float*, float**, int, int, float*, float*))
HOSTILE(void, svdvar, (float**, int, float*, float**))
HOSTILE(void, svdfit,
        (float*, float*, float*, int, float*, int, float**, float**, float*, float*, void (*)(float, float*, int)))

// numerics/transform4x4.h
HOSTILE(void, makeIdentityMatrix, (float (*)[4]))
HOSTILE(void, makeScaleMatrix, (float (*)[4], float, float, float))
HOSTILE(void, copyMatrix, (float (*)[4], float (*)[4]))
HOSTILE(void, transposeMatrix, (float (*)[4], float (*)[4]))
HOSTILE(void, multiplyMatrixMatrix, (float (*)[4], float (*)[4], float (*)[4]))
HOSTILE(void, multiplyMatrixVector, (float (*)[4], float*, float*))
HOSTILE(void, invertMatrix, (float (*)[4], float (*)[4]))
HOSTILE(void, invertH4x4Matrix, (float (*)[4], float (*)[4]))
HOSTILE(void, invertRotationTranslationMatrix, (float (*)[4], float (*)[4]))

// stats/beta.h
HOSTILE(float, betai, (float, float, float))
HOSTILE(float, betacf, (double, double, double))
HOSTILE(double, invbetai, (double, double, double))

// stats/correlation.h
HOSTILE(void, pearsn, (float*, float*, unsigned long, float*, float*, float*))
HOSTILE(void, pearsn_prob, (float*, float*, unsigned long, float*, float*, float*))
HOSTILE(void, pearsn_inc, (float, float, float&, float&, float&, float&, float&, float&, float*))
HOSTILE(void, regr_inc, (float, float, float&, float&, float&, float&, float&, float&, float*, float*, float*))
HOSTILE(void, spear, (float*, float*, unsigned long, float*, float*, float*, float*, float*))
HOSTILE(void, crank, (unsigned long, float*, float*))

// stats/error_function.h
HOSTILE(float, erfcc, (float))
HOSTILE(double, erfccheb, (double))
HOSTILE(double, _erfc, (double))
HOSTILE(double, _erf, (double))
HOSTILE(double, inverfc, (double))
HOSTILE(double, inverf, (double))

// stats/filters.h
HOSTILE(void, filter_n_decimate, (float*, float*, int, int))
HOSTILE(void, lpfilt, (double*, int, int))
HOSTILE(void, remacf, (float*, int, int, int))

// stats/fitting.h
HOSTILE(void, fit, (float*, float*, int, float*, int, float*, float*, float*, float*, float*, float*))
HOSTILE(void, fgauss, (float, float*, float*, float*, int))
HOSTILE(void, fpoly, (float, float*, int))
HOSTILE(void, fleg, (float, float*, int))
HOSTILE(void, fleg2D, (float, float*, int))
HOSTILE(void, fleg3D, (float, float*, int))

// stats/fourier.h
HOSTILE(void, four1, (float*, unsigned long, int))
HOSTILE(void, fourn, (float*, unsigned long*, int, int))
HOSTILE(void, realft, (float*, unsigned long, int))
HOSTILE(void, rlft3, (float***, float**, unsigned long, unsigned long, unsigned long, int))
HOSTILE(void, twofft, (float*, float*, float*, float*, unsigned long))
HOSTILE(void, convlv, (float*, unsigned long, float*, unsigned long, int, float*))
HOSTILE(void, zeropad, (float*, int, float*, int))

// stats/gamma.h
HOSTILE(double, gammln, (double))
HOSTILE(float, gammp, (float, float))
HOSTILE(float, gammq, (float, float))
HOSTILE(void, gser, (float*, float, float, float*))
HOSTILE(void, gcf, (float*, float, float, float*))

// stats/hrf.h
HOSTILE(int, twogammaHRF, (float, float*, int, double*))
HOSTILE(int, gammapdf, (int, double*, double, double, double*))
HOSTILE(double, hemoweight, (double))
HOSTILE(double, deltaweight, (double, double))

// stats/hypothesis.h
HOSTILE(void, ttest, (float*, unsigned long, float*, unsigned long, float*, float*))
HOSTILE(void, tutest, (float*, unsigned long, float*, unsigned long, float*, float*))
HOSTILE(void, kstwo, (float*, unsigned long, float*, unsigned long, float*, float*))
HOSTILE(float, probks, (float))

// stats/interpolation.h
HOSTILE(void, spline, (float*, float*, int, float, float, float*))
HOSTILE(void, spline_rg, (float*, float*, int, float, float, float*))
HOSTILE(void, splint, (float*, float*, float*, int, float, float*))
HOSTILE(void, splint_rg, (float*, float*, float*, int, float, float*))
HOSTILE(void, interp, (float*, float*, int, float*, int, float*))

// stats/minimum.h
HOSTILE(double, fmin, (double, double) noexcept)

// stats/moments.h
HOSTILE(void, avevar, (float*, unsigned long, float*, float*))

// stats/normal.h
HOSTILE(double, normaldist_p, (double, double, double))
HOSTILE(double, normaldist_cdf, (double, double, double))
HOSTILE(double, normaldist_invcdf, (double, double, double))

// stats/pvalues.h
HOSTILE(float, t_to_p, (float, unsigned long))
HOSTILE(float, F_to_p, (float, unsigned long, unsigned long))
HOSTILE(float, r_to_p, (double, unsigned long))
HOSTILE(float, X2_to_p, (float, unsigned long))
HOSTILE(double, z_to_p, (double))
HOSTILE(double, p_to_z, (double))
HOSTILE(double, p_to_t, (double, double))
HOSTILE(double, p_to_F, (double, double, double))
HOSTILE(float, p_to_r, (float, unsigned long))

// stats/random.h
HOSTILE(float, ran1, (long*))
HOSTILE(float, gasdev, (long*))

// stats/sorting.h
HOSTILE(void, sort, (unsigned long, float*))
HOSTILE(void, sort2, (unsigned long, float*, float*))
HOSTILE(void, indexx, (unsigned long, float*, unsigned long*))
HOSTILE(void, hpsort, (unsigned long, float*))
HOSTILE(float, select, (unsigned long, unsigned long, float*))
HOSTILE(unsigned short, select_ushort, (unsigned long, unsigned long, unsigned short*))

// stats/text_input.h
HOSTILE(int, getNextString, (char, char*, FILE*, int))

// stats/text_output.h
HOSTILE(void, WriteFloatMatrix2Txt, (char*, float**, int, int, int))
HOSTILE(void, WriteFloatVector2Txt, (char*, float*, int, int))
HOSTILE(void, WriteFloatVector2Txt, (char*, double*, int, int))
HOSTILE(void, WriteDoubleVector2Txt, (char*, double*, int, int))
HOSTILE(void, WriteFloatVector2SDM, (char*, float*, int))

// plugin/oridan_plugin.h
HOSTILE(bool, checkVersionGreaterEqualVersion, (int, int, int, int, int, int))
