// Random registrations, removals, server starts and deaths under 64 clients:
//   soak [SECONDS] [SEED]
// Every request must get its answer or a documented exception, the books must balance, and the locator must serve on
// and end well.
#include <csignal>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <thread>

#include "tests/soak/soak_client.h"
#include "tests/support/counters.h"
#include "tests/system/activation/activation_test.h"

namespace {

int seconds = 5;
unsigned seed = 1;

constexpr unsigned CLIENTS = 64;
constexpr int PROCESSES = 3;
constexpr int POAS = 4;  // of each server

class Soak : public ActivationTest {
 protected:
  static std::string orb_name(int process) { return "process" + std::to_string(process); }
  static std::vector<std::string> paths(const std::string& owner) {
    std::vector<std::string> result;
    for (int i = 0; i < POAS; ++i) result.push_back(owner + "_" + std::to_string(i));
    return result;
  }

  void SetUp() override {
    for (int i = 0; i < PROCESSES; ++i) {
      std::vector<std::string> arguments;
      for (const std::string& path : paths(orb_name(i))) arguments.insert(arguments.end(), {"--poa", path});
      configure_server(orb_name(i), arguments);
    }
    m_locator.start();
    for (int i = 0; i < PROCESSES; ++i) make_known(orb_name(i), paths(orb_name(i)));
    m_hand_made.register_and_leave(paths("hand_made"));
    // This server's POAs are started by its activator, or by chance.
    m_hand_made.add_activator([this](const std::vector<support::Octets>& ids) {
      for (const support::Octets& id : ids) attempt([&] { m_hand_made.add(support::path_of(id)); });
    });
  }

  std::vector<SoakClient::Target> targets() const {
    std::vector<SoakClient::Target> result = {{spec_for("nobody").key, ""}};
    for (const std::string& path : paths("hand_made")) result.push_back({spec_for(path).key, path});
    for (int i = 0; i < PROCESSES; ++i) {
      for (const std::string& path : paths(orb_name(i))) result.push_back({spec_for(path).key, path});
    }
    return result;
  }

  // What somebody else has done just before may be in the way; how it may end is for other tests.
  static void attempt(const std::function<void()>& call) {
    try {
      call();
    } catch (const CORBA::Exception&) {
      // Refused.
    }
  }

  // Something happens to some server.
  void disturb(std::mt19937& random) {
    const std::string path = "hand_made_" + std::to_string(random() % POAS);
    switch (random() % 4) {
      case 0:
        attempt([&] { m_hand_made.add(path); });
        break;
      case 1:
      case 2:
        attempt([&] { m_hand_made.remove(path); });
        break;
      default:
        kill_some_process(random);
    }
  }

  void kill_some_process(std::mt19937& random) {
    const std::string orb = orb_name(static_cast<int>(random() % PROCESSES));
    const auto pids = starts(orb);
    // Not oftener than it starts.
    if (pids.empty() || pids.back() == m_killed[orb] || !support::runs(pids.back())) return;
    ::kill(pids.back(), random() % 2 == 0 ? SIGKILL : SIGTERM);
    m_killed[orb] = pids.back();
    ++m_deaths;
  }

  support::FakeServer m_hand_made{m_locator, "hand_made"};
  std::map<std::string, pid_t> m_killed;  // by ORB, the last
  unsigned m_deaths = 0;
};

TEST_F(Soak, EveryRequestHasItsOutcome) {
  const auto all = targets();
  std::atomic<bool> end = false;
  std::vector<std::unique_ptr<SoakClient>> clients;
  std::vector<std::thread> threads;
  for (unsigned i = 0; i < CLIENTS; ++i) {
    clients.push_back(std::make_unique<SoakClient>(m_locator, all, seed * CLIENTS + i));
    threads.emplace_back([&end, client = clients.back().get()] {
      try {
        client->run(end);
      } catch (const std::exception& error) {
        ADD_FAILURE() << error.what();
        end = true;
      }
    });
  }
  std::mt19937 random(seed);
  unsigned disturbances = 0;
  const auto stop = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  for (; !end && std::chrono::steady_clock::now() < stop; ++disturbances) {
    disturb(random);
    std::this_thread::sleep_for(std::chrono::milliseconds(random() % 100));  // the pace of what happens
  }
  end = true;
  for (std::thread& thread : threads) thread.join();

  SoakBooks books;
  for (const auto& client : clients) books += client->books();
  std::cout << disturbances << " disturbances, " << m_deaths << " of them deaths; requests: " << books.asked << " = "
            << books.forwarded << " forwarded + " << books.exceptions << " exceptions + " << books.cancelled
            << " cancelled + " << books.deserted << " deserted" << std::endl;
  EXPECT_TRUE(books.balanced());
  EXPECT_GT(books.forwarded, 0U);
  EXPECT_GT(m_deaths, 0U);
  clients.clear();
  for (int i = 0; i < PROCESSES; ++i) {
    for (const std::string& path : paths(orb_name(i))) expect_answered_soon(path);
  }
  m_hand_made.remove_activator();
  // What clients have deserted may still wait for these.
  for (const std::string& path : paths("hand_made")) attempt([&] { m_hand_made.add(path); });
  EXPECT_TRUE(support::books_balance(m_locator));
  // The locator has counted what the clients saw, and also what servers asked for.
  const support::Counters counters(m_locator);
  EXPECT_GE(counters.requests_in(), books.forwarded + books.exceptions);
  EXPECT_GE(counters["forwards"], books.forwarded);
  EXPECT_GE(counters["exceptions"] + counters["unknown_objects"], books.exceptions);
}

}  // namespace

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  if (argc > 1) seconds = std::atoi(argv[1]);
  if (argc > 2) seed = static_cast<unsigned>(std::atoi(argv[2]));
  if (argc > 3 || seconds <= 0) {
    std::cerr << "usage: soak [SECONDS] [SEED]\n";
    return 2;
  }
  std::cout << seconds << " s with the seed " << seed << std::endl;
  const int result = RUN_ALL_TESTS();
  support::end_corba_orb();
  return result;
}
