/*
 * read_bmp: reads every PDF417 symbol in a 1-bit BMP file and prints, per
 * symbol, its direction, its four corners and its text.
 *
 *     read_bmp page.bmp
 *
 * A minimal host of the library's C API: the file's bitmap (everything after
 * the 14-byte file header) goes into a memory block and is handed to
 * PDF417_Read.
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <pdf417/pdf417.h>

static const char* const kDirections[4] = {"upright", "upside down", "rows bottom to top", "rows top to bottom"};

int main(int argc, char** argv) {
  if (argc != 2) {
    fprintf(stderr, "usage: %s page.bmp\n", argv[0]);
    return 2;
  }
  FILE* f = fopen(argv[1], "rb");
  if (!f) {
    perror(argv[1]);
    return 2;
  }
  fseek(f, 0, SEEK_END);
  long size = ftell(f);
  fseek(f, 0, SEEK_SET);
  if (size < 14 + 48) {
    fprintf(stderr, "%s: too short for a bitmap\n", argv[1]);
    fclose(f);
    return 2;
  }
  unsigned char fileHeader[14];
  if (fread(fileHeader, 1, 14, f) != 14 || fileHeader[0] != 'B' || fileHeader[1] != 'M') {
    fprintf(stderr, "%s: not a BMP file\n", argv[1]);
    fclose(f);
    return 2;
  }
  PDF417_Block block = PDF417_BlockAlloc((size_t)(size - 14));
  unsigned char* bytes = block ? (unsigned char*)PDF417_BlockLock(block) : NULL;
  if (!bytes || fread(bytes, 1, (size_t)(size - 14), f) != (size_t)(size - 14)) {
    fprintf(stderr, "%s: cannot read\n", argv[1]);
    fclose(f);
    PDF417_BlockFree(block);
    return 2;
  }
  fclose(f);
  PDF417_BlockUnlock(block);

  PDF417_Handle reader = PDF417_Init();
  if (!reader || PDF417_Read(reader, block) != 0) {
    fprintf(stderr, "out of memory\n");
    PDF417_Done(reader);
    PDF417_BlockFree(block);
    return 2;
  }
  int32_t n = PDF417_GetNumBarcodes(reader);
  int decoded = 0;
  printf("%s: %d symbol%s\n", argv[1], (int)n, n == 1 ? "" : "s");
  for (int32_t i = 0; i < n; i++) {
    unsigned char text[2000];
    int32_t length = 0, c[8];
    PDF417_GetSymbolText(reader, i, &length, text);
    PDF417_GetCoordinates(reader, i, &c[0], &c[1], &c[2], &c[3], &c[4], &c[5], &c[6], &c[7]);
    int32_t direction = PDF417_GetDirection(reader, i);
    printf("#%d direction %d (%s), corners (%d,%d) (%d,%d) (%d,%d) (%d,%d), ec %d, mode %d, confidence %d\n", (int)i,
           (int)direction, kDirections[direction & 3], (int)c[0], (int)c[1], (int)c[2], (int)c[3], (int)c[4], (int)c[5],
           (int)c[6], (int)c[7], (int)PDF417_GetErrorCorrectionLevel(reader, i), (int)PDF417_GetMode(reader, i),
           (int)PDF417_GetConfidence(reader, i));
    if (length == 2 && text[0] == '?') {
      printf("   not decoded\n");
      continue;
    }
    decoded++;
    printf("   text (%d bytes): \"", (int)(length - 2));
    for (int32_t k = 0; k < length - 2; k++) {
      if (text[k] >= 32 && text[k] < 127 && text[k] != '"' && text[k] != '\\') putchar(text[k]);
      else printf("\\x%02x", text[k]);
    }
    printf("\"\n");
  }
  PDF417_Done(reader);
  PDF417_BlockFree(block);
  return decoded > 0 ? 0 : 1;
}
