// The plug-in's messages as operators know them, apart from the code that reports them: a change of one is no accident.
#pragma once

#include <string>
#include <vector>

#include "tests/support/event_log.h"

struct KnownMessage {
  unsigned priority;  // 0: never reported
  std::string text;
};

// By id.
const std::vector<KnownMessage>& known_messages();

// Fails the test unless the event is one of those messages, with its priority and a parameter for each placeholder.
void expect_known(const support::Event& event);
