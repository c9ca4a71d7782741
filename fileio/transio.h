#pragma once

#include <fstream>

#include "export.h"

/// @file
/// Typed random access to a dense array of up to 8 dimensions inside a binary file, at a byte offset.
///
/// Elements are addressed by a flat index, 0 .. elementCount-1; the dimensions fix the count and are kept
/// for callers that reopen the array. Bytes are moved as they are (little-endian), never swapped, never
/// converted. Nothing is printed: every failure is a result of 0 or null.
/// Ownership: the caller allocates and frees the descriptor; the descriptor owns its stream until
/// transio_close. State: each access moves the stream, so one thread at a time per descriptor.

/// Bits of transio_struct::flags and of the mode given to transio_open.
enum TransioFlags : unsigned int {
    transioOpen = 0x0001,      ///< set while the descriptor owns an open stream
    transioWriteMask = 0x0030, ///< either bit in a mode: open for reading and writing
    transioTypeMask = 0xFF00,  ///< element type code, one of the values below
    transioByte = 0x0000,      ///< untyped byte: buffer calls only
    transioUint8 = 0x0100,     ///< unsigned char
    transioUint16 = 0x0200,    ///< unsigned short
    transioUint32 = 0x0300,    ///< unsigned int
    transioFloat = 0x0400,     ///< float
    transioInt8 = 0x0500,      ///< signed char
    transioInt16 = 0x0600,     ///< short
    transioInt32 = 0x0700,     ///< int
    transioDouble = 0x0800     ///< double
};

/// Descriptor of one array in a file: the caller's storage, filled by transio_open.
struct transio_struct {
    char fileName[512];              ///< path given to transio_open
    unsigned int flags;              ///< TransioFlags; 8 after a failed open
    std::fstream* stream;            ///< owned; null when closed
    unsigned long long baseOffset;   ///< byte position in the file of element 0
    unsigned int elementSize;        ///< bytes per element
    unsigned int nDims;              ///< 1 .. 8
    unsigned int dims[8];            ///< extents, the first nDims are meaningful
    unsigned long long elementCount; ///< product of the extents
};

/// Opens an array. A failed open leaves the descriptor reset (flags 8, stream null, counts 0).
/// @param t           out; former content is overwritten, not closed.
/// @param fileName    an existing regular file; fewer than 512 characters.
/// @param baseOffset  byte position of element 0.
/// @param nDims       1 .. 8.
/// @param dims        [0..nDims-1] extents, none 0.
/// @param mode        element type code, and for writing either bit of transioWriteMask.
///                    Read mode refuses a file that is too short for the array; write mode lengthens it with
///                    zeros (a failed lengthening gives the file its old length back and fails). A file whose
///                    length cannot be found out is refused and left as it is.
/// @return 1 or 0.
ORIDAN_API int transio_open(transio_struct* t, const char* fileName, unsigned long long baseOffset, unsigned int nDims,
                            const unsigned int* dims, unsigned int mode);

/// Closes the stream; harmless on a closed descriptor.
/// @param t  in-out.
/// @return 1, always.
ORIDAN_API int transio_close(transio_struct* t);

/// Moves `count` elements of the descriptor's element size, whatever the type code, starting at firstIndex.
/// A range that passes the end of the array moves nothing. A failed access does not spoil the next.
/// Unchecked: the descriptor must be open.
/// @param t           open.
/// @param firstIndex  first element.
/// @param count       elements.
/// @param dest        out, count * elementSize bytes; untouched where the range is refused.
/// @return count, or 0 on failure.
ORIDAN_API unsigned int transio_read_buffer(const transio_struct* t, unsigned long long firstIndex, unsigned int count,
                                            void* dest);

/// Writes as transio_read_buffer reads. On a descriptor that was opened for reading the write itself fails.
/// @param t           open.
/// @param firstIndex  first element.
/// @param count       elements.
/// @param src         count * elementSize bytes.
/// @return count, or 0 on failure.
ORIDAN_API unsigned int transio_write_buffer(const transio_struct* t, unsigned long long firstIndex, unsigned int count,
                                             const void* src);

/// Read `count` elements into a new array. The type must be the descriptor's own.
/// @param t           open.
/// @param firstIndex  first element.
/// @param count       elements.
/// @return an array that the caller frees with delete[] (not null for a count of 0), or null.
///@{
ORIDAN_API unsigned char* transio_read_uint8(const transio_struct* t, unsigned long long firstIndex,
                                             unsigned int count);
ORIDAN_API unsigned short* transio_read_uint16(const transio_struct* t, unsigned long long firstIndex,
                                               unsigned int count);
ORIDAN_API unsigned int* transio_read_uint32(const transio_struct* t, unsigned long long firstIndex,
                                             unsigned int count);
ORIDAN_API float* transio_read_float(const transio_struct* t, unsigned long long firstIndex, unsigned int count);
ORIDAN_API signed char* transio_read_int8(const transio_struct* t, unsigned long long firstIndex, unsigned int count);
ORIDAN_API short* transio_read_int16(const transio_struct* t, unsigned long long firstIndex, unsigned int count);
ORIDAN_API int* transio_read_int32(const transio_struct* t, unsigned long long firstIndex, unsigned int count);
ORIDAN_API double* transio_read_double(const transio_struct* t, unsigned long long firstIndex, unsigned int count);
///@}

/// Write `count` elements. The type must be the descriptor's own. Whether the file was opened for writing is
/// not looked at: on a read-only descriptor the write itself fails.
/// @param t           open.
/// @param firstIndex  first element.
/// @param count       elements.
/// @param src         [0..count-1].
/// @return count, or 0 on failure.
///@{
ORIDAN_API unsigned int transio_write_uint8(const transio_struct* t, unsigned long long firstIndex, unsigned int count,
                                            const unsigned char* src);
ORIDAN_API unsigned int transio_write_uint16(const transio_struct* t, unsigned long long firstIndex, unsigned int count,
                                             const unsigned short* src);
ORIDAN_API unsigned int transio_write_uint32(const transio_struct* t, unsigned long long firstIndex, unsigned int count,
                                             const unsigned int* src);
ORIDAN_API unsigned int transio_write_float(const transio_struct* t, unsigned long long firstIndex, unsigned int count,
                                            const float* src);
ORIDAN_API unsigned int transio_write_int8(const transio_struct* t, unsigned long long firstIndex, unsigned int count,
                                           const signed char* src);
ORIDAN_API unsigned int transio_write_int16(const transio_struct* t, unsigned long long firstIndex, unsigned int count,
                                            const short* src);
ORIDAN_API unsigned int transio_write_int32(const transio_struct* t, unsigned long long firstIndex, unsigned int count,
                                            const int* src);
ORIDAN_API unsigned int transio_write_double(const transio_struct* t, unsigned long long firstIndex, unsigned int count,
                                             const double* src);
///@}
