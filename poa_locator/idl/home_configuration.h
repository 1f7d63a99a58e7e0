// How the owner of a home comes to it: the configured type id, the home's registration, and the query over its records.
#pragma once

#include <qz_config.hh>

#include "platform/base/qz_string.h"
#include "platform/pss/session_manager_impl.h"

// The value of Home::CONFIGURATION_KEY when the key is present, Home::DEFAULT_TYPE_ID otherwise.
template <class Home>
QZ_String configured_home_type_id(QZ_Config::Configuration_ptr config) {
  CORBA::String_var value;
  return config->get_string(Home::CONFIGURATION_KEY, value.out()) ? value.in() : Home::DEFAULT_TYPE_ID;
}

// All records of a home.
inline QZ_String home_query(const QZ_String& type_id) {
  return "select ref(h) from " + type_id + " h";
}
