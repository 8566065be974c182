#pragma once

#include <span>

namespace loc {

// The texts that are compiled in. Every locale has every key, with the directives of
// the English text.

struct CatalogueEntry {
  const char* key;
  const char* text;
};

struct CompiledCatalogue {
  const char* locale;
  std::span<const CatalogueEntry> entries;
};

std::span<const CompiledCatalogue> compiledCatalogues();

std::span<const CatalogueEntry> englishTexts();
std::span<const CatalogueEntry> germanTexts();
std::span<const CatalogueEntry> spanishTexts();
std::span<const CatalogueEntry> frenchTexts();
std::span<const CatalogueEntry> portugueseTexts();

}  // namespace loc
