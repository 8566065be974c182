#pragma once

namespace job {

// To be called first. The number of a standard stream that is closed would go to a file or a
// connection, and messages would land there; so it goes to one on which reading still fails.
void occupyStandardStreams();

}  // namespace job
