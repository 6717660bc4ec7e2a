#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include <tarn/kern/ReflectiveDataType.h>
#include <tarn/kern/Value.h>
#include <tarn/kern/meta/Enum.h>

#include "strata/Database.h"
#include "tarn/kern/Slots.h"

namespace strata_datasource {

/// Values as SQL values and back, exactly: what one goes in as, it comes out as, bit by bit.
///
///   String                 TEXT: UTF-8; a lone surrogate has its three-byte form
///   StdString              TEXT when the bytes are UTF-8, otherwise BLOB
///   integers, Boolean      INTEGER
///   UInteger64             INTEGER; above 2^63-1 TEXT, decimal
///   Real                   REAL; a NaN is TEXT, as SQLite would make it NULL
///   UUID, DateTime         TEXT
///   enum                   TEXT: the literal's name; INTEGER for a number that no literal has
///   custom types           TEXT: the text form that the type registered
///   data values            TEXT: a JSON object (see DataText)
///   maps in collections    TEXT: a JSON array of pairs
///
/// Absence is NULL. Threads: one at a time.
class ValueCodec {
 public:
  /// The element of that uuid, for references in data values; null when there is none.
  using FindElement = std::function<tarn::kern::ModelElement(const boost::uuids::uuid&)>;

  explicit ValueCodec(std::string path) : fPath(std::move(path)) {}
  void setFindElement(FindElement find) { fFindElement = std::move(find); }

  // --- Writing. What is bound lives until the next call of forget().

  /// The content of a slot of shape Single that is no map.
  void bindSingle(strata::Statement& statement, int parameter, const tarn::kern::internal::SlotInfo& slot,
                  const std::byte* area);
  /// Entry `index` of a slot of shape Typed or Generic.
  void bindEntry(strata::Statement& statement, int parameter, const tarn::kern::internal::SlotInfo& slot,
                 const std::byte* area, std::size_t index);
  void bindString(strata::Statement& statement, int parameter, const tarn::kern::ustring& text);
  void bindUuid(strata::Statement& statement, int parameter, const boost::uuids::uuid& uuid);
  /// To be called when the statement was run.
  void forget() noexcept { fTextsUsed = 0; }

  // --- Reading. @throws strata::StoreError (Damaged) when a value is not one of the property.

  /// Into a slot of shape Single that is no map and that is absent.
  void readSingle(const strata::Statement& row, int column, const tarn::kern::internal::SlotInfo& slot,
                  std::byte* area);
  /// Appends to a slot of shape Typed or Generic.
  void readEntry(const strata::Statement& row, int column, const tarn::kern::internal::SlotInfo& slot, std::byte* area);
  [[nodiscard]] boost::uuids::uuid uuidOf(const strata::Statement& row, int column) const;

  /// Whether entry `index` is what the column holds: what needs no write.
  [[nodiscard]] bool isSameEntry(const strata::Statement& row, int column, const tarn::kern::internal::SlotInfo& slot,
                                 const std::byte* area, std::size_t index);

 private:
  struct EnumNames {
    std::unordered_map<std::int64_t, std::string> byNumber;
    std::unordered_map<std::string, std::int64_t> byName;
  };

  std::string& text();
  const EnumNames& namesOf(const tarn::kern::meta::Type& type);

  void bindReal(strata::Statement& statement, int parameter, double value);
  void bindUnsigned(strata::Statement& statement, int parameter, std::uint64_t value);
  void bindBytes(strata::Statement& statement, int parameter, std::string_view bytes);
  void bindEnum(strata::Statement& statement, int parameter, const tarn::kern::meta::Type& type, std::int64_t number);
  void bindValue(strata::Statement& statement, int parameter, const tarn::kern::internal::SlotInfo& slot,
                 const tarn::kern::Value& value);
  template <class T>
  void bindObject(strata::Statement& statement, int parameter, const tarn::kern::internal::SlotInfo& slot,
                  const T& object);

  template <class T>
  [[nodiscard]] T readObject(const strata::Statement& row, int column, const tarn::kern::internal::SlotInfo& slot);
  [[nodiscard]] double readReal(const strata::Statement& row, int column,
                                const tarn::kern::internal::SlotInfo& slot) const;
  [[nodiscard]] std::int64_t readEnum(const strata::Statement& row, int column,
                                      const tarn::kern::internal::SlotInfo& slot);
  [[nodiscard]] tarn::kern::Value readValue(const strata::Statement& row, int column,
                                            const tarn::kern::internal::SlotInfo& slot);
  [[noreturn]] void bad(const tarn::kern::internal::SlotInfo& slot, const std::string& found) const;

  std::string fPath;
  FindElement fFindElement;
  std::deque<std::string> fTexts;  // their addresses stay
  std::size_t fTextsUsed = 0;
  std::unordered_map<const tarn::kern::meta::Type::Impl*, EnumNames> fEnums;
};

}  // namespace strata_datasource
