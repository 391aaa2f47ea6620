// SPDX-License-Identifier: MIT

// exit-with STATUS: ends with this status, and does nothing else.

#include <cstdlib>

int main(int argc, char** argv) { return argc > 1 ? std::atoi(argv[1]) : 0; }
