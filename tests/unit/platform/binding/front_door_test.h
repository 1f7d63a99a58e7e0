// A front door on a free port of 127.0.0.1.
#pragma once

#include <gtest/gtest.h>

#include <memory>

#include "platform/binding/front_door.h"
#include "tests/unit/platform/binding/client.h"
#include "tests/unit/platform/binding/event_log.h"
#include "tests/unit/platform/binding/interceptors.h"

namespace test {

class FrontDoorTest : public ::testing::Test {
 protected:
  using Counters = QZ_Binding::FrontDoorCounters;

  FrontDoorTest() {
    config.listeners = {{"127.0.0.1", 0, {0, 1, 2}}};
    config.threads = 2;
    config.close_time = std::chrono::milliseconds(500);
  }
  ~FrontDoorTest() override {
    door.reset();
    manager->_qz_remove_ref();
    log->_qz_remove_ref();
  }

  void start() {
    door = std::make_unique<QZ_Binding::FrontDoor>(config, *manager, log);
    door->start();
  }
  std::uint16_t port(std::size_t listener = 0) const { return door->listening()[listener].port; }
  const Counters& counters() const { return door->counters(); }

  QZ_Binding::FrontDoorConfig config;
  QZ_Binding::BindingManagerImpl* manager = new QZ_Binding::BindingManagerImpl;
  EventLog* log = new EventLog;
  std::unique_ptr<QZ_Binding::FrontDoor> door;

  const std::string domain = key_of({"QP", "domain"});
  const std::string endpoint = key_of({"QP", "domain", std::string("bank\0", 5)});
};

}  // namespace test
