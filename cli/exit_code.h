// How the command ends. The texts are the manual's.
#pragma once

namespace poaloc {

enum ExitCode {
  SUCCESS = 0,
  FAILED = 1,
  USAGE = 2,
  UNREACHABLE = 3,
  NOT_FOUND = 4,
  REFUSED = 5,
  NOT_CONFIRMED = 6,
};

struct ExitCodeText {
  ExitCode code;
  const char* text;
};

inline constexpr ExitCodeText EXIT_CODE_TEXTS[] = {
    {SUCCESS, "What was asked has been done."},
    {FAILED, "It failed; the message says why."},
    {USAGE, "The command line is wrong, or a value or an imported file is not valid. Nothing was changed."},
    {UNREACHABLE, "The locator does not answer, or does not admit administrators at this address."},
    {NOT_FOUND, "What the command names does not exist."},
    {REFUSED, "Something is in the way: it exists already, or something refers to it. Nothing was changed."},
    {NOT_CONFIRMED, "The question was not answered with yes. Nothing was changed."},
};

}  // namespace poaloc
