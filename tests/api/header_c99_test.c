/* The public header compiled as strict C99 and linked against the shared library. */
#include "pxkit.h"

#include <stdio.h>
#include <string.h>

int main(void) {
  static const uint8_t expected[10] = {PXKIT_VERSION_MAJOR, PXKIT_VERSION_MINOR,
                                       PXKIT_VERSION_PATCH & 0xFF, PXKIT_VERSION_PATCH >> 8,
                                       0xE5, 0x07, 0x09, 0x12, 0xCC, 0xCC};
  uint8_t version[10];
  memset(version, 0xCC, sizeof version); /* nothing may be written past the eight bytes */
  if (get_pxkit_version(version) != version || memcmp(version, expected, sizeof expected) != 0) {
    puts("get_pxkit_version returned wrong bytes");
    return 1;
  }
  if (get_pxkit_version(NULL) != NULL) return 1;
  printf("pxkit %u.%u.%u\n", version[0], version[1], version[2] | (version[3] << 8));
  return 0;
}
