#include "quillon/nimbo/NimboModelWrapperException.h"

namespace quillon::nimbo {

NimboModelWrapperException::~NimboModelWrapperException() = default;

const char* NimboModelWrapperException::what() const noexcept {
  switch (Kind_) {
    case Kind::NonExistingFile:
      return "NimboModelWrapperException: Non existing file";
    case Kind::InvalidBinaryFile:
      return "NimboModelWrapperException: Invalid binary file";
    case Kind::FailedToCreateFile:
      return "NimboModelWrapperException: Failed to create file";
    case Kind::RootNotFound:
      return "NimboModelWrapperException: A root element with the correct metaclass was not found";
  }
  return "NimboModelWrapperException: Unknown error";  // a number that a cast made
}

}  // namespace quillon::nimbo
