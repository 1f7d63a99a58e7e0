// The daemon's configuration: a TOML file and settings of the command line, checked as a whole before anything runs.
// Immutable; safe from any thread.
#pragma once

#include <qz_config.hh>
#include <string>
#include <vector>

#include "daemon/flat_values.h"
#include "daemon/settings.h"
#include "platform/orb/ref_counted_local_object.h"

namespace poalocd {

// Every configured value is served by its key with ":" between its parts ("orb_endpoint:probe_time_limit"), with
// defaults filled in; durations are whole milliseconds. A list or table is present but has no type to be had with.
// Keys of the scopes "plugins:<name>:" are free, and served as they are written.
class ConfigurationImpl : public virtual QZ_Config::Configuration, public QZ_CORBA::RefCountedLocalObject {
 public:
  // file: empty for defaults alone. assignments: "key=value" with dots in the key and TOML for the value, which may
  // stand without quotes where it is no other TOML value; they win over the file.
  // Raises ConfigurationError.
  static ConfigurationImpl* load(const std::string& file, const std::vector<std::string>& assignments);
  // The same for the text of a file; name stands for it in errors.
  static ConfigurationImpl* parse(const std::string& text, const std::string& name,
                                  const std::vector<std::string>& assignments = {});

  const Settings& settings() const { return m_settings; }
  const FlatValues& flat_values() const { return m_values; }

  CORBA::Boolean get_string(const char* key, CORBA::String_out value) override;
  CORBA::Boolean get_long(const char* key, CORBA::LongLong_out value) override;
  CORBA::Boolean get_boolean(const char* key, CORBA::Boolean_out value) override;

 private:
  ConfigurationImpl(Settings settings, FlatValues values);

  const Settings m_settings;
  const FlatValues m_values;
};

}  // namespace poalocd
