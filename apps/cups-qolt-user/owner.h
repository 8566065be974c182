#pragma once

#include <sys/types.h>

#include <string>

// The account that has printed, and receives the job too.
struct Owner {
  uid_t uid;
  std::string refusal;  // why it must not receive jobs; empty when it may
};

// Root and the accounts of services must not: those with an id below leastUserId. Throws
// plat::SystemException when the directory of accounts does not answer.
Owner findOwner(const char* user, uid_t leastUserId);

// UID_MIN of login.defs(5): 1000 where the file is missing or says nothing that is a number.
uid_t leastUserId(const char* loginDefs);
