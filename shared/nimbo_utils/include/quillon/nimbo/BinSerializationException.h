#pragma once

#include <exception>
#include <iostream>
#include <string>
#include <utility>

#include "quillon/nimbo/export.h"

namespace quillon::nimbo {

/// A model that the binary form cannot hold, or bytes that are no model. The message begins with "Limitation: " where
/// the format has no place for what was to be written, and names source and expression where a check failed.
///
/// Every member is inline, so that the library offers no symbol for it and a user needs none. Each module that throws
/// or catches then carries its own copy of the type's description; the visibility below lets the loader merge the
/// copies, which is what makes catching by type work across the border between the library and its users.
class NIMBO_EXPORT BinSerializationException : public std::exception {
 public:
  /// Also prints "Unexpected exception: ", the message and a line end to `std::cerr`: once for each exception made,
  /// before anything can catch it. Copies print nothing.
  explicit BinSerializationException(std::string message) : fMessage(std::move(message)) {
    // One insertion, so that two threads do not mix their lines.
    std::cerr << "Unexpected exception: " + fMessage + "\n";
  }

  [[nodiscard]] const char* what() const noexcept override { return fMessage.c_str(); }

 private:
  std::string fMessage;
};

}  // namespace quillon::nimbo
