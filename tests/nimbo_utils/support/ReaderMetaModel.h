#pragma once

#include <string>

namespace testsupport {

/// The C++ type of the custom type Blob.
struct Blob {
  std::string bytes;
  friend bool operator==(const Blob&, const Blob&) = default;
};

/// Registers, once per process, what only tests of the reader need. The names are those that streams use.
///
/// "reading", URI "urn:reading":
///   Shape (abstract) with name (String), and Circle, a Shape, with radius (Integer)
///   Stranger with name (String), related to nothing
///   Noted with notes (StringToStringMap, required)
///   the custom type Blob, held as the struct below; Blobs with blob (Blob, required), more (Blob, many)
///   Levels with levels (Level, required)
///   the data type Level with number (Integer, required, default 3), inner (Level, many), notes
///   (StringToStringMap, required), target (Shape), targets (Shape, many), marks (Integer, many)
/// "ageing", of the family "ageing" in the versions 1.0 and 2.0: Thing with name (String)
void registerReaderMetaModel();

}  // namespace testsupport
