#pragma once

#include <cstdio>
#include <string>
#include <vector>

namespace receiver {

// Writes page files as the pages of one PDF document of that title, each as a picture of its
// physical size; memory is one compressed page. Tells every page on standard output. The file is
// borrowed. Throws plat::Exception when a page is broken or empty, plat::SystemException for a
// failure of the system.
void joinPages(const std::vector<std::string>& pages, const std::string& title, FILE* document);

}  // namespace receiver
