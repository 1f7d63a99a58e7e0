#include <unistd.h>

#include <clocale>
#include <iostream>

#include "cli/run.h"

int main(int argc, char** argv) {
  // Whatever the environment says: names are UTF-8, and so are the lines of a tree.
  std::setlocale(LC_CTYPE, "C.UTF-8");
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  return poaloc::run(arguments, {std::cin, std::cout, std::cerr, isatty(STDIN_FILENO) != 0, isatty(STDOUT_FILENO) != 0,
                                 isatty(STDERR_FILENO) != 0});
}
