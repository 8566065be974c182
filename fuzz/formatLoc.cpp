#include "base/loc/LString.h"
#include "base/plat/utf8.h"
#include "fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const int number = input.anyNumber<int>();
  const plat::String word = plat::fixUtf8(input.text(20).c_str());
  const std::string format = fuzz::text(input.rest());
  const auto check = [&](std::initializer_list<loc::LArg> args) {
    plat::DString out("before ");
    loc::formatLoc(out, format.c_str(), args);
    PLAT_ASSERT(plat::startsWith(out.get(), "before "));
    PLAT_ASSERT(!plat::isValidUtf8(format.c_str()) || plat::isValidUtf8(out.get()));
    PLAT_ASSERT(format.find('%') != format.npos ||
                plat::strCompare(out.get() + 7, format.c_str()) == 0);
  };
  check({});
  check({word.get()});
  check({number});
  check({static_cast<unsigned>(number)});
  check({word.get(), number, static_cast<unsigned>(number)});
  return 0;
}
