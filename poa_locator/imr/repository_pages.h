// The entries of the repository of POAs, a page at a time.
#pragma once

#include <qz_imr_admin.hh>

class EndpointRegistry;

// In the order of their creation, the root first. Reads what is committed and takes no lock. from: empty, or what next
// was; BAD_PARAM otherwise. A page ends early when it becomes long. The caller deletes the list.
QZ_IMRAdmin::POAEntryList* repository_page(EndpointRegistry& registry, const char* from, CORBA::ULong how_many,
                                           CORBA::String_out next);

// How many there are, without the root.
CORBA::ULongLong repository_size(EndpointRegistry& registry);
