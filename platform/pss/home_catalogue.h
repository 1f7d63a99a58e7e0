// The stored list of homes: which table belongs to which home type id, and what it looks like.
#pragma once

#include <string>

#include "platform/pss/storage_type.h"

namespace QZ_PSS {

class StoreTransaction;

struct CatalogueEntry {
  long long number = 0;
  std::string table;
};

// Finds the home's entry and adds columns for members that are new to it, or makes entry and tables.
// BAD_PARAM with MINOR_BAD_DECLARATION when what is stored does not fit the type.
CatalogueEntry enter_in_catalogue(StoreTransaction& work, const std::string& home_type_id, const StorageType& type);

}  // namespace QZ_PSS
