// Who may reach the ORB's endpoint, and when. State of the process, as there is one ORB at a time.
#pragma once

namespace poalocd {

// The endpoint listens before plug-ins have made their POAs. A call that came in then, or when they are gone again,
// would hear that its object does not exist, which callers take for the last word.

// New connections wait from now on. After ORB_init and before the ORB's first POA.
void hold_connections();
// Lets in those that wait and all to come.
void let_connections_in();
// Closes those that wait and all to come without a word; requests on the others are answered TRANSIENT.
void turn_connections_away();

}  // namespace poalocd
