// What the daemon does with its homes.
#pragma once

#include <memory>
#include <string>

#include "platform/pss/statement.h"
#include "platform/pss/storage_ref.h"
#include "platform/pss/tx_session_association.h"

namespace poalocd {

// Belongs to the association.
template <class Home>
Home& find_home(QZ_PSS::TxSessionAssociation& association) {
  auto* home = Home::_narrow(association.find_storage_home(Home::TYPE_ID));
  if (!home) throw CORBA::INTERNAL(0, CORBA::COMPLETED_NO);
  return *home;
}

// use(const Home::Data&) for each record, in the order of their creation.
template <class Home, class Use>
void for_each_record(QZ_PSS::TxSessionAssociation& association, Use use) {
  QZ_PSS::Statement statement(association.session());
  const auto rows = statement.execute("select ref(h) from " + std::string(Home::TYPE_ID) + " h");
  while (rows->next()) {
    const auto record = QZ_PSS::StorageRef<typename Home::Data>::from_row(*rows);
    use(record.deref());
  }
}

// The record that find() gives, or what create() makes when it raises NotFound.
template <class Find, class Create>
auto find_or_create(Find find, Create create) {
  try {
    return find();
  } catch (const CosPersistentState::NotFound&) {
    return create();
  }
}

// Destroys the record that find() gives; nothing when it raises NotFound.
template <class Find>
void destroy_if_found(Find find) {
  try {
    find()->destroy_object();
  } catch (const CosPersistentState::NotFound&) {
  }
}

}  // namespace poalocd
