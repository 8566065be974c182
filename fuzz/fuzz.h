#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "base/plat/Assertion.h"
#include "base/plat/Exception.h"
#include "base/plat/String.h"
#include "fuzz/Input.h"

// Bad input may be refused, in any way that a caller sees; whatever else happens is a
// finding. A target says with PLAT_ASSERT what must hold.
namespace fuzz {

// Runs the action; returns "<name>: <message>" of what it throws, "" when nothing. An
// assertion that fails is a finding, also in its throwing form.
template <class Action>
std::string refusal(Action action) {
  try {
    action();
  } catch (const plat::AssertionFail& failure) {
    plat::assertionFailed(failure);
  } catch (const plat::Exception& e) {
    return std::string(e.name) + ": " + e.message;
  }
  return "";
}

template <class Action>
bool isRefused(Action action) {
  return !refusal(action).empty();
}

inline std::string bytes(const uint8_t* data, size_t size) {
  return std::string(reinterpret_cast<const char*>(data), size);
}

// The bytes up to the first NUL.
inline std::string text(const std::string& bytes) {
  return bytes.c_str();
}

// What stands between the separators: one text more than there are of them.
inline std::vector<std::string> split(const std::string& text, const std::string& separator) {
  std::vector<std::string> parts;
  size_t from = 0;
  for (size_t at; (at = text.find(separator, from)) != text.npos; from = at + separator.size()) {
    parts.push_back(text.substr(from, at - from));
  }
  parts.push_back(text.substr(from));
  return parts;
}

// As long, of the alphabet's characters only: among few of them chance finds what matters.
inline std::string folded(std::string text, const std::string& alphabet) {
  for (char& c : text) c = alphabet[static_cast<unsigned char>(c) % alphabet.size()];
  return text;
}

}  // namespace fuzz
