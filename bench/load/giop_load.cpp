// Load generator for anything that answers GIOP requests.
#include <atomic>
#include <exception>
#include <fstream>
#include <iostream>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "bench/load/load_options.h"
#include "bench/load/load_thread.h"

namespace {

using namespace bench;

std::int64_t nanoseconds(double seconds) {
  return static_cast<std::int64_t>(seconds * 1e9);
}

// The first n shares get what is left over.
std::size_t share(std::size_t total, std::size_t threads, std::size_t n) {
  return total / threads + (n < total % threads ? 1 : 0);
}

std::vector<std::unique_ptr<LoadThread>> make_threads(const LoadOptions& options, const LoadPlan& whole) {
  std::vector<std::unique_ptr<LoadThread>> threads;
  for (std::size_t n = 0; n < options.threads; ++n) {
    LoadPlan plan = whole;
    plan.connections = share(whole.connections, options.threads, n);
    plan.rate = whole.rate / static_cast<double>(options.threads);
    plan.limit = share(whole.limit, options.threads, n);
    threads.push_back(std::make_unique<LoadThread>(plan, n));
  }
  return threads;
}

LoadResult run_all(const std::vector<std::unique_ptr<LoadThread>>& loads) {
  std::mutex mutex;
  std::exception_ptr failure;
  std::vector<std::thread> threads;
  for (const auto& load : loads) {
    threads.emplace_back([&, load = load.get()] {
      try {
        load->run();
      } catch (const std::exception&) {
        const std::scoped_lock lock(mutex);
        failure = std::current_exception();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  if (failure) std::rethrow_exception(failure);
  LoadResult result;
  for (const auto& load : loads) result.add(load->result());
  return result;
}

void print(const LoadResult& result, bool as_json) {
  const nlohmann::json summary = result.summary();
  if (as_json) {
    std::cout << summary.dump() << std::endl;
    return;
  }
  for (const auto& [key, value] : summary.items()) std::cout << key << ": " << value.dump() << "\n";
  std::cout << std::flush;
}

int run(const LoadOptions& options) {
  const std::vector<Target> targets =
      options.targets.empty() ? std::vector{parse_target(options.target)} : read_targets(options.targets);
  RequestSet requests(options.form);
  for (const Target& target : targets) requests.add(target.key);

  std::atomic<std::size_t> still_sending{options.threads};
  const LoadPlan plan{.requests = requests,
                      .address = targets.front(),
                      .connections = options.connections,
                      .depth = options.depth,
                      .rate = options.rate,
                      .warmup = nanoseconds(options.warmup),
                      .duration = nanoseconds(options.duration),
                      .limit = options.requests,
                      .patience = nanoseconds(options.patience),
                      .fixed_replies = options.fixed_replies,
                      .all_sent = [&] {
                        if (--still_sending == 0) std::cerr << "all requests are sent" << std::endl;
                      }};
  const auto threads = make_threads(options, plan);
  const LoadResult result = run_all(threads);
  if (!options.save_reply.empty()) {
    std::ofstream file(options.save_reply, std::ios::binary);
    file.write(reinterpret_cast<const char*>(result.sample.data()), static_cast<std::streamsize>(result.sample.size()));
    if (!file.flush()) throw std::runtime_error("cannot write " + options.save_reply);
  }
  print(result, options.json);
  if (options.hold) std::cin.ignore(std::numeric_limits<std::streamsize>::max());
  return result.complete() ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  const LoadOptions options = parse_load_options(argc, argv);
  try {
    return run(options);
  } catch (const std::exception& error) {
    std::cerr << "giop_load: " << error.what() << std::endl;
    return 2;
  }
}
