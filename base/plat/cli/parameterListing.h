#pragma once

#include <cstdio>

namespace plat {

class Configuration;

// The help text in the language of the user, on standard output in 79 columns: how
// parameters are set and which the global registry has; with `all` also the hidden ones
// and the names of the log sources and destinations.
void printUsage(bool all, bool showDefaults);

// The parameters of a registry and then of its children, by name, each with its
// description; names beginning with "_" are left out, and unless showAll is set the
// hidden and the binary ones. showDefaults adds the values that are in effect.
void printHelp(const Configuration& registry, bool showAll, bool showDefaults, FILE* stream,
               int width, int nameWidth);

// Logs the effective value of every parameter of a registry and its children whose name
// does not begin with "_", through "Configuration".
void logParams(const Configuration& registry);

}  // namespace plat
