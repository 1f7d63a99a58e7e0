// --force and --deep.
#pragma once

#include <qz_location_common.hh>

#include <CLI/CLI.hpp>
#include <string>

namespace poaloc {

struct DestroyOptions {
  bool force = false;
  bool deep = false;

  // forced, deeply: what these do, for the help.
  void add_to(CLI::App& verb, const std::string& forced, const std::string& deeply) {
    auto* force_flag = verb.add_flag("--force", force, forced);
    verb.add_flag("--deep", deep, deeply)->excludes(force_flag);
  }
  QZ_LocationCommon::DestroyType type() const {
    return deep    ? QZ_LocationCommon::DESTROY_DEEP
           : force ? QZ_LocationCommon::DESTROY_FORCE
                   : QZ_LocationCommon::DESTROY_NORMAL;
  }
};

}  // namespace poaloc
