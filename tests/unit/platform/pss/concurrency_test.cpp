#include <gmock/gmock.h>

#include <atomic>
#include <future>
#include <thread>

#include "platform/pss/store.h"
#include "tests/unit/platform/pss/store_test.h"

namespace Example {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using QZ_PSS::TxSessionAssociation;

class ConcurrencyTest : public StoreTest {
 protected:
  void create(TxSessionAssociation& association, unsigned number) {
    names(association).create(id_of(number), "", NameDataRef(), IdList(), true, true);
  }
  void wait_for_a_waiting_writer() {
    const auto limit = Clock::now() + 60s;
    while (QZ_PSS::implementation(manager()).store()->writers().waiting() == 0) {
      ASSERT_LT(Clock::now(), limit);
      std::this_thread::yield();
    }
  }
};

TEST_F(ConcurrencyTest, orders_writers_of_the_same_record) {
  open(60s);
  add_name(0);
  constexpr unsigned threads = 4;
  constexpr unsigned rounds = 25;
  std::vector<std::thread> writers;
  writers.reserve(threads);
  for (unsigned t = 0; t < threads; ++t) {
    writers.emplace_back([&, t] {
      for (unsigned round = 0; round < rounds; ++round) {
        write([&](TxSessionAssociation& association) {
          const unsigned number = 1 + t * rounds + round;
          create(association, number);
          const NameDataRef root = names(association).find_by_id(id_of(0));
          root->add_child(id_of(number));
          root->name(std::to_string(root->child_count()).c_str());
        });
      }
    });
  }
  std::atomic<bool> stop{false};
  std::thread reader([&] {
    while (!stop) {
      read([&](TxSessionAssociation& association) {
        const NameDataRef root = names(association).find_by_id(id_of(0));
        // Both members come from one commit.
        const std::string name = root->name();
        EXPECT_EQ(name == "n0" ? "0" : name, std::to_string(root->child_count()));
      });
    }
  });
  for (std::thread& writer : writers) writer.join();
  stop = true;
  reader.join();
  EXPECT_EQ(all_names().size(), threads * rounds + 1);
  read([&](TxSessionAssociation& association) {
    EXPECT_EQ(names(association).find_by_id(id_of(0))->name(), std::to_string(threads * rounds));
  });
}

TEST_F(ConcurrencyTest, keeps_readers_going_while_a_transaction_writes) {
  open();
  add_name(1);
  current()->begin();
  {
    TxSessionAssociation association(manager(), QZ_PSS::READ_WRITE);
    create(association, 2);
  }
  std::thread([&] {
    EXPECT_TRUE(has_name(1));
    EXPECT_FALSE(has_name(2));
    EXPECT_THAT(all_names(), testing::ElementsAre(1));
  }).join();
  current()->commit(true);
  EXPECT_TRUE(has_name(2));
}

TEST_F(ConcurrencyTest, lets_a_second_writer_wait_for_the_first) {
  open();
  current()->begin();
  {
    TxSessionAssociation association(manager(), QZ_PSS::READ_WRITE);
    create(association, 1);
  }
  auto second = std::async(std::launch::async, [&] { add_name(2); });
  wait_for_a_waiting_writer();
  current()->commit(true);
  second.get();
  EXPECT_THAT(all_names(), testing::ElementsAre(1, 2));
}

TEST_F(ConcurrencyTest, gives_up_waiting_for_another_writer_after_the_time_out) {
  open(100ms);
  current()->begin();
  {
    TxSessionAssociation association(manager(), QZ_PSS::READ_WRITE);
    create(association, 1);
  }
  std::thread([&] {
    const auto start = Clock::now();
    EXPECT_EQ(minor_of<CORBA::TRANSIENT>([&] { add_name(2); }), QZ_PSS::MINOR_LOCKED);
    EXPECT_GE(Clock::now() - start, 100ms);
    EXPECT_EQ(current()->get_status(), CosTransactions::StatusNoTransaction);
  }).join();
  current()->commit(true);
  std::thread([&] { add_name(2); }).join();
  EXPECT_THAT(all_names(), testing::ElementsAre(1, 2));
}

TEST_F(ConcurrencyTest, gives_up_waiting_for_another_process_after_the_time_out) {
  open(100ms);
  add_name(1);
  {
    const ForeignLock lock(file());
    const auto start = Clock::now();
    EXPECT_EQ(minor_of<CORBA::TRANSIENT>([&] { add_name(2); }), QZ_PSS::MINOR_LOCKED);
    EXPECT_GE(Clock::now() - start, 90ms);
    EXPECT_THAT(QZ_PSS::last_error(), testing::HasSubstr("locked"));
    EXPECT_TRUE(has_name(1));
  }
  EXPECT_FALSE(has_name(2));
  add_name(2);
  EXPECT_TRUE(has_name(2));
}

TEST_F(ConcurrencyTest, lets_a_transaction_try_again_after_a_time_out) {
  open(20ms);
  current()->begin();
  {
    const ForeignLock lock(file());
    EXPECT_EQ(minor_of<CORBA::TRANSIENT>([&] { TxSessionAssociation(manager(), QZ_PSS::READ_WRITE); }),
              QZ_PSS::MINOR_LOCKED);
  }
  write([&](TxSessionAssociation& association) { create(association, 1); });
  current()->commit(true);
  EXPECT_TRUE(has_name(1));
}

TEST_F(ConcurrencyTest, passes_the_turn_on_when_a_writing_thread_ends) {
  open();
  std::promise<void> writing;
  std::promise<void> may_end;
  std::thread first([&] {
    current()->begin();
    TxSessionAssociation association(manager(), QZ_PSS::READ_WRITE);
    create(association, 1);
    writing.set_value();
    may_end.get_future().wait();
  });
  writing.get_future().wait();
  auto second = std::async(std::launch::async, [&] { add_name(2); });
  wait_for_a_waiting_writer();
  may_end.set_value();
  first.join();
  second.get();
  EXPECT_THAT(all_names(), testing::ElementsAre(2));
}

TEST_F(ConcurrencyTest, registers_homes_from_many_threads) {
  open();
  std::vector<std::thread> threads;
  threads.reserve(4);
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      QZ_PSS::register_home<NameHome>(manager(), "PSDL:Shared:1.0");
      read([&](TxSessionAssociation& association) {
        EXPECT_NE(NameHome::_narrow(association.find_storage_home("PSDL:Shared:1.0")), nullptr);
      });
    });
  }
  for (std::thread& thread : threads) thread.join();
}

TEST_F(ConcurrencyTest, serves_more_threads_than_it_keeps_connections) {
  QZ_PSS::StoreOptions options;
  options.idle_connections = 1;
  QZ_PSS::SessionManager_var small = QZ_PSS::SessionManagerImpl::open(url(), options);
  QZ_PSS::register_home<NameHome>(small, NAMES);
  TxSessionAssociation first(small, QZ_PSS::READ_ONLY);
  TxSessionAssociation second(small, QZ_PSS::READ_ONLY);
  TxSessionAssociation third(small, QZ_PSS::READ_ONLY);
  for (TxSessionAssociation* association : {&first, &second, &third})
    EXPECT_THROW(names(*association).find_by_id(id_of(1)), CosPersistentState::NotFound);
}

}  // namespace
}  // namespace Example
