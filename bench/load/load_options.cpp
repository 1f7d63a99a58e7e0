#include "bench/load/load_options.h"

#include <CLI/CLI.hpp>
#include <cstdlib>

namespace bench {

LoadOptions parse_load_options(int argc, char** argv) {
  LoadOptions options;
  std::string version = "1.2";
  CLI::App app(
      "Sends GIOP requests to a server and measures its answers. Any answer is one, a forward too; none is followed.");
  auto* target = app.add_option("target", options.target, "IOR or corbaloc");
  app.add_option("--targets", options.targets, "File of IORs or corbalocs, one a line, used in turn")->excludes(target);
  app.add_flag("--locate", options.form.locate, "Send LocateRequests, not Requests");
  app.add_option("--giop", version, "GIOP version")->check(CLI::IsMember({"1.0", "1.1", "1.2"}))->capture_default_str();
  app.add_option("--operation", options.form.operation, "Operation of the Requests")->capture_default_str();
  app.add_option("--connections", options.connections)->check(CLI::PositiveNumber)->capture_default_str();
  app.add_option("--threads", options.threads, "Over which the connections are spread")
      ->check(CLI::PositiveNumber)
      ->capture_default_str();
  auto* depth =
      app.add_option("--depth", options.depth, "Unanswered requests of a connection: 1 closed loop, more pipelined")
          ->check(CLI::PositiveNumber)
          ->capture_default_str();
  app.add_option("--rate", options.rate,
                 "Open loop: requests a second in all; latency counts from when a request was to be sent")
      ->check(CLI::PositiveNumber)
      ->excludes(depth);
  app.add_option("--warmup", options.warmup, "Seconds before the measurement")->capture_default_str();
  auto* duration = app.add_option("--duration", options.duration, "Seconds to measure")->capture_default_str();
  app.add_option("--requests", options.requests, "Send so many and measure all of them; without warm-up")
      ->check(CLI::PositiveNumber)
      ->excludes(duration);
  app.add_option("--patience", options.patience, "Seconds to wait for the last answers")->capture_default_str();
  app.add_flag("--fixed-replies", options.fixed_replies, "The server answers in order; do not look at request ids");
  app.add_flag("--hold", options.hold, "Keep the connections until standard input ends");
  app.add_option("--save-reply", options.save_reply, "Write the first reply's octets to this file");
  app.add_flag("--json", options.json, "Print one JSON object");
  try {
    app.parse(argc, argv);
    if (options.target.empty() == options.targets.empty()) {
      throw CLI::ValidationError("target", "give one, or --targets");
    }
    if (options.threads > options.connections) throw CLI::ValidationError("--threads", "more than connections");
  } catch (const CLI::ParseError& error) {
    std::exit(app.exit(error));
  }
  options.form.minor = version.back() - '0';
  if (options.requests > 0) options.duration = options.warmup = 0;
  return options;
}

}  // namespace bench
