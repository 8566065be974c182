#pragma once

namespace job {

// What every backend of the scheduler begins with: the names that the endpoints of accounts are
// formed with, no standard stream that is closed, and a broken pipe as an error of the write.
void startBackend();

}  // namespace job
