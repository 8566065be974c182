#pragma once

namespace plat {

// The log destinations "stderr" and "file", which every program has that links this layer.
// They take part from here on, and get the earlier messages that the parameter "Log" gives
// them: on the command line it may stand before the parameters of the file. A line is the
// time, the level, the source and the text.
//
// The file is LogFile, by default "<program>.log", in LogDir, for the account alone. A file
// of an earlier day becomes "<LogFile>.<date>", and those older than LogKeepDays are
// removed. Throws plat::Exception when the log goes to the file and that cannot be begun; what
// goes wrong with it later is told once, on standard error.
void startLogging();

}  // namespace plat
