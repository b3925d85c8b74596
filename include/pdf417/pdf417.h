/*
 * pdf417.h - find and read PDF417 barcodes (ISO/IEC 15438) in scanned pages.
 *
 * The library takes one page at a time, as a packed 1-bit-per-pixel
 * device-independent bitmap (DIB) or as an 8-bit grey picture
 * (PDF417_ReadGrey), and reports every probable PDF417 symbol on it: its
 * four corner points in page pixels, its decoded bytes, its direction
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
 *   offset  0: the header, of the size its first field (offset 0) gives: 40
 *              bytes (BITMAPINFOHEADER), 108 or 124 (the later versions) or
 *              any other size of at least 40; the width (signed, offset 4),
 *              height (signed, offset 8) and bit count (offset 14, must be 1)
 *              are read, the absolute values of width and height are the
 *              image size;
 *   after it:  two 4-byte colour table entries; only the blue byte of entry 0
 *              is read: 0 means bit value 0 is dark, anything else means bit
 *              value 1 is dark;
 *   after them: the pixel rows, bottom row first, each ((width + 31) / 32) * 4
 *              bytes, the most significant bit of a byte being its leftmost
 *              pixel.
 * With the usual 40-byte header the rows begin at offset 48. A bitmap that is
 * not 1 bit per pixel, has a zero width or height, is larger than 1 GiB of
 * pixel rows, gives a header size below 40, or whose block is shorter than
 * header size + 8 + stride * height bytes is refused: the read then reports
 * no symbols and returns 0.
 *
 * Memory: a read holds one page image at a time, the bitmap's pixel rows as
 * given and then turned a quarter turn (at most (height + 7) / height times
 * as large), plus 0.7 MB of work areas and 2.2 KB per result; while it reads
 * a candidate, twice the candidate's box (a page image's size at most) and
 * at most 14 MB of traced edges (65,536 in a region). So a page without
 * symbols needs its pixel bytes once more (1.1 times for a page under 80
 * pixels high), and no page more than about three times its pixel bytes and
 * 25 MB, besides the host's own copy. A page narrower or lower than 69
 * pixels (no symbol fits) is not searched as given or not turned.
 *
 * Time: candidates whose outline no symbol has (edges under 4 pattern widths
 * apart or longer than 100 pattern widths), regions of more than 65,536 bar
 * edges and grids of more than 2048 rows or 64 columns are not read, so pages
 * of fake patterns, noise or specks take a bounded multiple of a blank page's
 * time (README.md, "Limits").
 *
 * Threads: independent handles may be read on different threads at the same
 * time. One handle must not be used by two threads at once. Memory blocks may
 * be used from any thread, and several reads may read one block at once.
 * The library starts no threads of its own, keeps no log and reads or writes
 * no files.
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
 *
 * A handle names an entry of one process-wide table of blocks (guarded by a
 * lock; the library's only state shared between handles) together with the
 * entry's generation, which changes when the block is freed. So a freed
 * handle, or one never handed out, is recognised without touching freed
 * memory: every function treats it as NULL, even after its entry holds a new
 * block (until that entry has been reused 2^32 times).
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

/* Releases the block whether or not it is locked; its handle is invalid from
 * then on. A block being read by PDF417_Read on another thread keeps its
 * bytes until that read ends. NULL is accepted. */
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
 * symbols). The block is only read; it may be locked or not, and other
 * threads may read it at the same time. A NULL or freed block reads as a
 * refused bitmap. */
PDF417_API int32_t PDF417_Read(PDF417_Handle handle, PDF417_Block bitmap);

/* As PDF417_Read, for a host that holds the packed bitmap in its own memory:
 * dib points to length bytes laid out as above. */
PDF417_API int32_t PDF417_ReadDib(PDF417_Handle handle, const void *dib, size_t length);

/* As PDF417_Read, for a grey picture (a photo, a grey scan, a screenshot):
 * pixels points to height rows of width bytes, the top row first, each row
 * stride bytes after the one before; a byte is a grey value, 0 black and 255
 * white (a colour picture is handed over as its luminance). The pixels are
 * only read, during the call; the caller keeps them.
 *
 * The library binarises the picture itself: first with a local threshold (a
 * pixel is dark when it is darker than the mean of the window around it,
 * an eighth of the picture's longer side, by more than a small contrast
 * floor), which follows uneven light; when that gives no decoded symbol,
 * with one global threshold (Otsu's); and when that gives none either and
 * the picture has at most 4 megapixels, with the local threshold of the
 * picture enlarged twice (bilinear), for modules under two pixels, and
 * then over the first try's picture turned an eighth of a turn, for short
 * symbols leaning about 45 degrees (what decodes there is turned back, its
 * direction the one nearest to the way its rows read). The
 * results of a later try come after the earlier ones' and never repeat a
 * symbol they reported (an earlier candidate that a later try decodes is
 * dropped). Each binarised picture is read exactly as PDF417_Read reads a
 * 1-bit page of those pixels, except that a candidate none of its readings
 * decodes is read once more through its perspective (start and stop edges
 * not parallel, rows of changing height, as in photos). Results are
 * reported in the picture's pixels.
 *
 * A NULL pixels pointer, a width or height below 1, a stride below width or
 * stride * height above 1 GiB is refused: the read then reports no symbols
 * and returns 0. Otherwise returns as PDF417_Read does; -1 for a NULL
 * handle. */
PDF417_API int32_t PDF417_ReadGrey(PDF417_Handle handle, const uint8_t *pixels, int32_t width, int32_t height,
                                   int32_t stride);

/* The number of results of the latest read (0 before any read). Every
 * candidate outline found in either pass is one result, so a page of many
 * labels gives one result per symbol however many there are. */
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
PDF417_API int32_t PDF417_GetSymbolText(PDF417_Handle handle, int32_t index, int32_t *length, unsigned char *text);

/* Stores the four corners in page pixels (x to the right, y down, row 0 the
 * top row of the picture): (x0, y0) and (x1, y1) are the top and bottom ends
 * of the symbol's first edge, (x2, y2) and (x3, y3) those of its second edge,
 * top and bottom as seen in the image the symbol was found in. For
 * directions 0 and 2 the first edge is the start pattern's outer edge.
 * Returns 0. */
PDF417_API int32_t PDF417_GetCoordinates(PDF417_Handle handle, int32_t index, int32_t *x0, int32_t *y0, int32_t *x1,
                                         int32_t *y1, int32_t *x2, int32_t *y2, int32_t *x3, int32_t *y3);

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

/* ------------------------------------------------------------------------
 * The symbol's data as encoded
 *
 * The text above is the library's classic result form, kept unchanged for
 * hosts built on it: bytes after the first zero byte read back as zeros, a
 * text is cut after 998 bytes, a byte-compaction run whose last group holds
 * five codewords gives six bytes where the format means five, and the
 * codewords of an ECI designator or a Macro PDF417 control block are read as
 * data. The functions below give the symbol's data exactly as it was
 * encoded, with its ECI designators, its Macro PDF417 fields and its reader
 * initialisation flag. New hosts should use them.
 *
 * Data is available for a symbol whose corrected codewords are consistent
 * (the length descriptor and the correction codewords fill the symbol and
 * every check sum is zero) and parse as the format defines; such a symbol's
 * classic text is normally decoded too. A result without data (an
 * undecoded candidate, or a symbol whose codewords do not hold together) is
 * best treated as not read.
 *
 * Shape: variable-length items are copied into the caller's buffer with its
 * capacity (the call says how much it needs), so nothing has to be freed;
 * the fixed Macro fields come in one struct whose size field lets later
 * versions add fields without breaking hosts built against this one.
 * ------------------------------------------------------------------------ */

/* Copies the symbol's data bytes (zero bytes included; at most 2,710 bytes)
 * into buffer, at most capacity bytes, and returns the number of data bytes,
 * which may be more than capacity (call with capacity 0 and a NULL buffer to
 * learn the size). Returns -1, writing nothing, for a result without data or
 * an index out of range. */
PDF417_API int32_t PDF417_GetData(PDF417_Handle handle, int32_t index, unsigned char *buffer, int32_t capacity);

/* The number of ECI designators in the symbol's data (0 when it has none or
 * no data; the data then uses the format's default character set). */
PDF417_API int32_t PDF417_GetEciCount(PDF417_Handle handle, int32_t index);

/* The k-th ECI designator (k from 0, in data order): *designator receives
 * its number (0..811799: 3 is ISO-8859-1, 26 UTF-8, 20 Shift JIS, 899 binary
 * and so on) and *offset the position in the data bytes from which it
 * applies. Returns 0, or -1 writing nothing when k or index is out of
 * range. */
PDF417_API int32_t PDF417_GetEci(PDF417_Handle handle, int32_t index, int32_t k, int32_t *designator, int32_t *offset);

/* 1 when the symbol asks the reader to initialise itself (codeword 921;
 * such symbols carry configuration, not data for the host), else 0. */
PDF417_API int32_t PDF417_GetReaderInit(PDF417_Handle handle, int32_t index);

/* The fixed fields of a Macro PDF417 control block: one part of a message
 * split across several symbols. */
typedef struct PDF417_Macro {
  uint32_t size;        /* set by the caller to sizeof(PDF417_Macro) */
  int32_t segmentIndex; /* 0..99999: this symbol's place in the message */
  int32_t lastSegment;  /* 1 when this is the message's last symbol */
  int64_t segmentCount; /* symbols in the message, -1 when not given */
  int64_t timeStamp;    /* seconds since 1970-01-01 UTC, -1 when not given */
  int64_t fileSize;     /* bytes of the whole message, -1 when not given */
  int64_t checksum;     /* CRC-16 of the whole message, -1 when not given */
} PDF417_Macro;

/* Fills *macro when the symbol carries a Macro PDF417 control block and
 * returns 1; returns 0 for a symbol without one and -1 for an index out of
 * range, a NULL macro or a size smaller than the size field and the two
 * fields after it (12 bytes). Only the first macro->size bytes are written,
 * so a host built against an older, shorter struct stays safe. */
PDF417_API int32_t PDF417_GetMacro(PDF417_Handle handle, int32_t index, PDF417_Macro *macro);

/* Text fields of the Macro control block, for PDF417_GetMacroField. */
#define PDF417_MACRO_FILE_ID 0   /* the message's file ID: three decimal digits per codeword */
#define PDF417_MACRO_FILE_NAME 1 /* as encoded (text compaction), no terminator */
#define PDF417_MACRO_SENDER 2
#define PDF417_MACRO_ADDRESSEE 3

/* Copies a text field of the Macro control block into buffer (at most
 * capacity bytes, no terminator added) and returns its length, which may be
 * more than capacity. Returns -1 when the symbol has no control block, the
 * block does not carry the field, or an argument is out of range. */
PDF417_API int32_t PDF417_GetMacroField(PDF417_Handle handle, int32_t index, int32_t field, char *buffer,
                                        int32_t capacity);

/* Where the reader sampled a result. */
typedef struct PDF417_Geometry {
  uint32_t size;      /* set by the caller to sizeof(PDF417_Geometry) */
  int32_t rows;       /* rows of the grid the reader sampled; 0 when it found no outline */
  int32_t columns;    /* codeword columns of that grid, the two row indicators included */
  int32_t outline[8]; /* page pixels: the start side's top and bottom corner (x, y), then the
                          stop side's, as the symbol reads; the rows run from the first
                          point of each side to the second. The start side lies on the
                          start pattern's outer edge, the stop side on the left edge of the
                          stop pattern's last bar, one module inside the outer edge */
} PDF417_Geometry;

/* Fills *geometry and returns 0, or returns -1 for an index out of range, a
 * NULL geometry or a size smaller than the size field and the two counts
 * (12 bytes). Only the first geometry->size bytes are written. For a
 * candidate the reader gave up on before sampling, rows and columns are 0
 * and so is the outline. Meant for showing what the reader did: the outline
 * and the grid of rows x columns drawn into it. */
PDF417_API int32_t PDF417_GetGeometry(PDF417_Handle handle, int32_t index, PDF417_Geometry *geometry);

/* Releases the handle and its results. NULL is accepted and does nothing. */
PDF417_API void PDF417_Done(PDF417_Handle handle);

#ifdef __cplusplus
}
#endif

#endif /* PDF417_PDF417_H */
