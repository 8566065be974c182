#pragma once

#include <cups/backend.h>

#include <string>
#include <string_view>

// How a job ended: for the scheduler, and for people.
struct Outcome {
  cups_backend_t status;
  std::string text;  // a sentence without its full stop; empty when there is nothing to say
};

// The job waits, and the queue goes on with those of others.
Outcome nobodyReceives(const char* user);

// Of a job with which the backend qolt failed; lastLine is what it said last, and why.
Outcome outcomeOfFailure(std::string_view lastLine, const char* user);
