#pragma once

#include <functional>
#include <string>
#include <unordered_map>

#include <tarn/kern/Value.h>
#include <tarn/kern/meta/Handles.h>

#include "quillon/nimbo/StreamIArchive.h"
#include "quillon/nimbo/StreamOArchive.h"
#include "quillon/nimbo/export.h"

namespace quillon::nimbo {

/// Base of the serializers that an application supplies for its custom primitive types: those are unknown to the binary
/// form, which stores nothing of their values but the bytes that the serializer writes.
///
/// Constructing a serializer registers it, for the whole process, under its type; of several for one type the first one
/// stays. The registry does not own and never forgets: a serializer that was registered must live as long as models are
/// saved and loaded. Make each a static object of the application or plug-in; the registry is there before any of them.
///
/// The bytes carry no length. `serialize`, `parse` and `parseToJSON` must agree to the byte, or whatever follows on the
/// stream is misread.
///
/// Threads: constructing is for one thread at a time and must be over before any thread saves or loads; the three
/// operations are called by whichever threads do so.
class NIMBO_EXPORT CustomBinSerializerBase {
 public:
  explicit CustomBinSerializerBase(const tarn::kern::meta::Type& type);
  /// A copy handles the same type but is not registered.
  CustomBinSerializerBase(const CustomBinSerializerBase& other);
  /// Takes over the type; the registry stays as it is.
  CustomBinSerializerBase& operator=(const CustomBinSerializerBase& other);
  /// Does not unregister: a registered serializer that dies leaves a dangling pointer in the registry.
  virtual ~CustomBinSerializerBase();

  /// Writes the bytes of one value. It may use the archive's stream but must leave the model alone, which is being
  /// walked. What it throws ends the saving and comes out of it.
  virtual void serialize(StreamOArchive& archive, const tarn::kern::Value& value) const = 0;

  /// Reads exactly what `serialize` wrote and gives a value of the type, such as
  /// `Value(ValueMeta(getType(), ValueFlags::Single), object)`.
  virtual tarn::kern::Value parse(StreamIArchive& archive) const = 0;

  /// Reads exactly the same bytes and gives the value as JSON text, for readers that have no meta-model.
  virtual std::string parseToJSON(StreamIArchive& archive) const = 0;

  [[nodiscard]] const tarn::kern::meta::Type& getType() const noexcept { return fType; }

  /// The serializer registered for the type, or nullptr.
  [[nodiscard]] static const CustomBinSerializerBase* getCustomBinSerializer(const tarn::kern::meta::Type& type);

 private:
  using Registry = std::unordered_map<tarn::kern::meta::Type, const CustomBinSerializerBase*,
                                      std::hash<tarn::kern::meta::Type>, std::equal_to<tarn::kern::meta::Type>>;

  tarn::kern::meta::Type fType;

  static Registry fCustomBinSerializerRegistry;
};

}  // namespace quillon::nimbo
