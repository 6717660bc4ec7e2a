#pragma once

#include <string>

/// A shared library of its own that throws the foundation's exceptions, as the libraries above the framework do. What
/// is tested is that the binary which includes this catches them by type.
namespace throwing_library {

[[noreturn]] void throwCastFailure(const std::u16string& typeName);

/// Calls back into the caller's code, which throws through this library's frames.
void callBack(void (*callee)());

}  // namespace throwing_library
