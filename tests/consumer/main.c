#include <pxkit.h>
#include <stdio.h>

int main(void) {
  uint8_t v[8];
  get_pxkit_version(v);
  printf("pxkit %u.%u.%u\n", v[0], v[1], v[2] | (v[3] << 8));
  /* The loaded library is the release whose header this program was built with. */
  return (v[0] == PXKIT_VERSION_MAJOR && v[1] == PXKIT_VERSION_MINOR &&
          (v[2] | (v[3] << 8)) == PXKIT_VERSION_PATCH) ? 0 : 1;
}
