#include "orvik/Host.h"

int main(int count, char** values) {
  return orvik::host::run({values + (count > 0 ? 1 : 0), values + count});
}
