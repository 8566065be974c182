#include "base/loc/catalogues/catalogues.h"

namespace loc {

std::span<const CompiledCatalogue> compiledCatalogues() {
  static const CompiledCatalogue catalogues[] = {
      {"en", englishTexts()}, {"de", germanTexts()},     {"es", spanishTexts()},
      {"fr", frenchTexts()},  {"pt", portugueseTexts()},
  };
  return catalogues;
}

}  // namespace loc
