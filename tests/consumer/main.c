#include <pxkit.h>
#include <stdio.h>

int main(void) {
  uint8_t v[8];
  get_pxkit_version(v);
  printf("pxkit %u.%u.%u\n", v[0], v[1], v[2] | (v[3] << 8));
  return (v[0] == 1 && v[1] == 1 && v[2] == 7) ? 0 : 1;
}
