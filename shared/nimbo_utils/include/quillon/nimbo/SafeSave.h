#pragma once

#include <string>

#include "quillon/nimbo/SafeFile.h"
#include "quillon/nimbo/export.h"
#include "quillon/nimbo/internal/NimboModelWrapperBase.h"

namespace quillon::nimbo {

/// The forms of a wrapper's files. Each is read back by NimboModelWrapperBase::open.
enum class SavedForm {
  Binary,  ///< the wrapper's header, then its container: what serializeToBinFile writes
  JSON,    ///< what serializeToJSONFile writes
  XML,     ///< what serializeToXMLFile writes
};

/// Saves the wrapper's content so that the file is the old one or the new one, whatever happens on the way, and tells
/// when it could not be saved: the serialize...File operations of the wrapper do neither. For links, permissions and
/// devices see SafeFile.
///
/// Cached bytes are written as they are, as everywhere: call setDirty on a wrapper whose model was changed. The
/// wrapper's virtual operations are used, so a derived class that writes another text or stream is saved with it. A
/// model that is bound to a store is exported; its store is saved by each commit.
///
/// @throws SafeFileError; and what the serializers throw. The file is as it was then (see SafeFile::commit).
NIMBO_EXPORT void safeSave(const internal::NimboModelWrapperBase& wrapper, const std::u16string& path,
                           SavedForm form = SavedForm::Binary, Durability durability = Durability::Durable);

}  // namespace quillon::nimbo
