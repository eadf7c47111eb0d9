// The test hosts' surroundings from the C library: main and stdout.
#include <cstdio>

#include "HostRuntime.h"

void HostWrite(const char* text) {
  std::fputs(text, stdout);
  std::fflush(stdout);
}

int main(int argc, char** argv) {
  if (argc != 2 || argv[1][0] == '-') {
    std::fprintf(stderr, "usage: %s ENDPOINT\n", argv[0]);
    return 2;
  }
  return RunHost(argv[1]);
}
