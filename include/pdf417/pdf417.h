/*
 * pdf417.h - find and read PDF417 barcodes (ISO/IEC 15438) in scanned pages.
 *
 * The library takes one page at a time as a packed 1-bit-per-pixel
 * device-independent bitmap (DIB) and reports every probable PDF417 symbol on
 * it: its four corner points in page pixels, its decoded bytes, its direction
 * on the page and three figures from decoding.
 *
 * Typical use:
 *
 *     PDF417_Handle h = PDF417_Init();
 *     if (!h) ... out of memory ...
 *     PDF417_Read(h, block);                     // or PDF417_ReadDib(h, dib, len)
 *     for (int32_t i = 0; i < PDF417_GetNumBarcodes(h); i++) {
 *         int32_t len;
 *         unsigned char text[2000];              // a text length never exceeds 2000
 *         PDF417_GetSymbolText(h, i, &len, text);
 *         ...
 *     }
 *     PDF417_Done(h);
 *
 * Bitmap layout (all values little-endian), as handed over in a memory block
 * or by pointer and length:
 *   offset  0: 40-byte header; the width (signed, offset 4), height (signed,
 *              offset 8) and bit count (offset 14, must be 1) are read, the
 *              absolute values of width and height are the image size;
 *   offset 40: two 4-byte colour table entries; only the blue byte of entry 0
 *              (offset 40) is read: 0 means bit value 0 is dark, anything else
 *              means bit value 1 is dark;
 *   offset 48: the pixel rows, bottom row first, each ((width + 31) / 32) * 4
 *              bytes, the most significant bit of a byte being its leftmost
 *              pixel.
 * A bitmap that is not 1 bit per pixel, has a zero width or height, is larger
 * than 1 GiB of pixel rows, or whose block is shorter than 48 + stride * height
 * bytes is refused: the read then reports no symbols and returns 0.
 *
 * Threads: independent handles may be read on different threads at the same
 * time. One handle must not be used by two threads at once. The library
 * starts no threads of its own, keeps no log and reads or writes no files.
 */
#ifndef PDF417_PDF417_H
#define PDF417_PDF417_H

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32)
#  define PDF417_API __declspec(dllexport)
#elif defined(__GNUC__)
#  define PDF417_API __attribute__((visibility("default")))
#else
#  define PDF417_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ------------------------------------------------------------------------
 * Memory blocks: the host's bitmap is handed over in a block that knows its
 * own size, so the library never reads past it.
 * ------------------------------------------------------------------------ */

/* An opaque memory block holding a bitmap. */
typedef struct PDF417_MemoryBlock *PDF417_Block;

/* Allocates a zero-filled block of size bytes (size may be 0). Returns NULL
 * when memory is exhausted. The block belongs to the caller until
 * PDF417_BlockFree. */
PDF417_API PDF417_Block PDF417_BlockAlloc(size_t size);

/* Locks the block and returns the address of its first byte, or NULL for a
 * NULL or freed block. Locks nest: every lock needs one unlock. The address
 * stays valid until the block is freed. */
PDF417_API void *PDF417_BlockLock(PDF417_Block block);

/* Undoes one PDF417_BlockLock. Returns the remaining lock count, 0 when the
 * block is no longer locked (also for a NULL block or one not locked). */
PDF417_API int32_t PDF417_BlockUnlock(PDF417_Block block);

/* Returns the block's size in bytes, 0 for a NULL block. */
PDF417_API size_t PDF417_BlockSize(PDF417_Block block);

/* Releases the block whether or not it is locked. NULL is accepted. */
PDF417_API void PDF417_BlockFree(PDF417_Block block);

/* ------------------------------------------------------------------------
 * Reading
 * ------------------------------------------------------------------------ */

/* The result handle: a symbol count and one record per symbol found. */
typedef struct PDF417_Reader *PDF417_Handle;

/* Creates an empty handle (symbol count 0). Returns NULL when memory is
 * exhausted. The handle belongs to the caller until PDF417_Done. */
PDF417_API PDF417_Handle PDF417_Init(void);

/* Finds and reads every PDF417 symbol in the bitmap held by block (layout
 * above). The page is searched as given and turned a quarter turn, so symbols
 * are found upright, upside down and sideways. Every candidate found yields
 * one result, decoded or not (an undecoded one has the text "?"); a symbol
 * found by both searches is reported twice.
 *
 * Results of an earlier read on the same handle are released first.
 * Returns 0, also when nothing is found and when the bitmap is refused;
 * returns -1 when the results cannot be stored (the handle then holds 0
 * symbols). The block is only read; it may be locked or not. */
PDF417_API int32_t PDF417_Read(PDF417_Handle handle, PDF417_Block bitmap);

/* As PDF417_Read, for a host that holds the packed bitmap in its own memory:
 * dib points to length bytes laid out as above. */
PDF417_API int32_t PDF417_ReadDib(PDF417_Handle handle, const void *dib, size_t length);

/* The number of results of the latest read (0 before any read). */
PDF417_API int32_t PDF417_GetNumBarcodes(PDF417_Handle handle);

/* Result accessors. index runs from 0 to PDF417_GetNumBarcodes() - 1; for any
 * other index every accessor returns 0 and writes nothing through its out
 * arguments. */

/* Stores the text length in *length and copies exactly that many bytes into
 * text; no terminator is added. For a decoded symbol of n data bytes the
 * length is n + 2 (the bytes, then two zero bytes); for an undecoded
 * candidate it is 2 (the text "?" and a zero byte). The length never exceeds
 * 2000, so a 2000-byte buffer always suffices. Bytes after the first zero byte
 * of the data read back as zero. Returns 0. */
PDF417_API int32_t PDF417_GetSymbolText(PDF417_Handle handle, int32_t index, int32_t *length,
                                        unsigned char *text);

/* Stores the four corners in page pixels (x to the right, y down, row 0 the
 * top row of the picture): (x0, y0) and (x1, y1) are the top and bottom ends
 * of the symbol's first edge, (x2, y2) and (x3, y3) those of its second edge,
 * top and bottom as seen in the image the symbol was found in. For
 * directions 0 and 2 the first edge is the start pattern's outer edge.
 * Returns 0. */
PDF417_API int32_t PDF417_GetCoordinates(PDF417_Handle handle, int32_t index, int32_t *x0,
                                         int32_t *y0, int32_t *x1, int32_t *y1, int32_t *x2,
                                         int32_t *y2, int32_t *x3, int32_t *y3);

/* The symbol's direction on the page:
 *   0  upright, reads left to right;
 *   1  upside down, reads right to left;
 *   2  sideways, its rows read from the bottom of the page to the top;
 *   3  sideways, its rows read from the top of the page to the bottom. */
PDF417_API int32_t PDF417_GetDirection(PDF417_Handle handle, int32_t index);

/* The error correction value 2^e - 1 for the symbol's error correction level
 * e: 0, 1, 3, 7, 15, 31, 63, 127 or 255. */
PDF417_API int32_t PDF417_GetErrorCorrectionLevel(PDF417_Handle handle, int32_t index);

/* The compaction mode in effect at the end of the data: 10 text, 11 byte
 * (901/913), 12 byte (924), 13 numeric. */
PDF417_API int32_t PDF417_GetMode(PDF417_Handle handle, int32_t index);

/* 100 when no codeword needed correction, otherwise the share of corrected
 * codewords in percent (0 to 100); 0 for an undecoded candidate. */
PDF417_API int32_t PDF417_GetConfidence(PDF417_Handle handle, int32_t index);

/* Releases the handle and its results. NULL is accepted and does nothing. */
PDF417_API void PDF417_Done(PDF417_Handle handle);

#ifdef __cplusplus
}
#endif

#endif /* PDF417_PDF417_H */
