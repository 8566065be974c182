#pragma once

#include <cstdint>
#include <vector>

#include "apps/cups-qolt/TempFileSet.h"

// Sends the path of the description file to the server of the account that listens
// as `name`, message := length:uint32 BE, path. Once the socket has taken it the
// files are the server's: they leave the set. Throws plat::Exception; then they stay
// in it, and nobody was told: also when the listener, or the private directory, is
// neither the account's nor root's ("namedPipeCredCheck: uid mismatch").
void notifyServer(uint32_t uid, const char* name, const char* descriptionPath,
                  const std::vector<plat::String>& documents, TempFileSet& tempFiles);
