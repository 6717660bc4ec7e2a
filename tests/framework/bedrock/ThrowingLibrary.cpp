#include "framework/bedrock/ThrowingLibrary.h"

#include <bedrock/except.h>
#include <nimbo/messages.h>

#define THROWING_LIBRARY_EXPORT __attribute__((visibility("default")))

namespace throwing_library {

THROWING_LIBRARY_EXPORT void throwCastFailure(const std::u16string& typeName) {
  throw bedrock::except::Exception<nimbo::messages::CannotCastIncompatibleTypes, std::exception>(typeName);
}

THROWING_LIBRARY_EXPORT void callBack(void (*callee)()) { callee(); }

}  // namespace throwing_library
