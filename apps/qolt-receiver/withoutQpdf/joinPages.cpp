#include "apps/qolt-receiver/joinPages.h"

#include "base/plat/Exception.h"

namespace receiver {

void joinPages(const std::vector<std::string>&, FILE*) {
  throw plat::Exception("this program was built without libqpdf");
}

}  // namespace receiver
