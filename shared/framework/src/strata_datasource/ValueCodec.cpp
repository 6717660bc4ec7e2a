#include "ValueCodec.h"

#include <charconv>
#include <cmath>
#include <limits>
#include <stdexcept>

#include <bedrock/i18n.h>
#include <strata/StoreError.h>
#include <tarn/kern/DateTimeUtils.h>
#include <tarn/kern/meta/Property.h>

#include "DataText.h"
#include "tarn/kern/StorageDispatch.h"
#include "tarn/kern/io/PlainText.h"

namespace strata_datasource {

using bedrock::i18n::to_string;
using strata::Statement;
using tarn::kern::ReflectiveDataType;
using tarn::kern::StorageType;
using tarn::kern::StringToStringMap;
using tarn::kern::ustring;
using tarn::kern::Value;
using tarn::kern::internal::SlotInfo;
using tarn::kern::internal::SlotShape;
using tarn::kern::internal::TypeTag;
namespace meta = tarn::kern::meta;

namespace {

using Conversion = tarn::kern::DateTimeUtils::Conversion;

meta::Type typeOf(const SlotInfo& slot) { return slot.property->getType(); }

}  // namespace

std::string& ValueCodec::text() {
  if (fTextsUsed == fTexts.size()) fTexts.emplace_back();
  std::string& text = fTexts[fTextsUsed++];
  text.clear();
  return text;
}

const ValueCodec::EnumNames& ValueCodec::namesOf(const meta::Type& type) {
  const auto found = fEnums.find(type.get());
  if (found != fEnums.end()) return found->second;
  EnumNames names;
  const auto enumeration = tarn::kern::narrow<meta::Enum>(type);
  for (const meta::EnumLiteral& literal : enumeration->getLiteralsInOrder()) {
    const std::string name = bedrock::i18n::ustring_to_utf8(literal->getName());
    names.byName[name] = literal->getValue();
    // Of several literals with one number the kernel's choice, so that the same is written in every run.
    names.byNumber[literal->getValue()] =
        bedrock::i18n::ustring_to_utf8(enumeration->getLiteral(literal->getValue())->getName());
  }
  return fEnums.emplace(type.get(), std::move(names)).first->second;
}

void ValueCodec::bad(const SlotInfo& slot, const std::string& found) const {
  const meta::Property property(const_cast<meta::Property::Impl*>(slot.property));  // handles are not const
  throw strata::StoreError(strata::StoreError::Kind::Damaged, fPath,
                           to_string(property->getOwner()->getQualifiedName()) + "." + to_string(property->getName()) +
                               " cannot hold " + found + ", only a value of " +
                               to_string(property->getType()->getQualifiedName()) +
                               "; correct it there, or restore a backup");
}

// --- Writing.

void ValueCodec::bindString(Statement& statement, int parameter, const ustring& value) {
  std::string& bytes = text();
  bedrock::i18n::appendUtf8(bytes, value);
  statement.bindText(parameter, bytes);
}

void ValueCodec::bindUuid(Statement& statement, int parameter, const boost::uuids::uuid& uuid) {
  std::string& bytes = text();
  bytes.resize(tarn::kern::io::kUuidLength);
  tarn::kern::io::writeUuid(bytes.data(), uuid);
  statement.bindText(parameter, bytes);
}

void ValueCodec::bindReal(Statement& statement, int parameter, double value) {
  if (!std::isnan(value)) {
    statement.bind(parameter, value);
    return;
  }
  std::string& bytes = text();
  bytes = tarn::kern::io::nameOfSpecialReal(value);
  statement.bindText(parameter, bytes);
}

void ValueCodec::bindUnsigned(Statement& statement, int parameter, std::uint64_t value) {
  if (value <= static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
    statement.bind(parameter, static_cast<std::int64_t>(value));
    return;
  }
  std::string& bytes = text();
  bytes = std::to_string(value);
  statement.bindText(parameter, bytes);
}

void ValueCodec::bindBytes(Statement& statement, int parameter, std::string_view bytes) {
  bedrock::i18n::isValidUtf8(bytes) ? statement.bindText(parameter, bytes) : statement.bindBlob(parameter, bytes);
}

void ValueCodec::bindEnum(Statement& statement, int parameter, const meta::Type& type, std::int64_t number) {
  const EnumNames& names = namesOf(type);
  const auto found = names.byNumber.find(number);
  found == names.byNumber.end() ? statement.bind(parameter, number) : statement.bindText(parameter, found->second);
}

template <class T>
void ValueCodec::bindObject(Statement& statement, int parameter, const SlotInfo& slot, const T& object) {
  if constexpr (std::same_as<T, ustring>) {
    bindString(statement, parameter, object);
  } else if constexpr (std::same_as<T, std::string>) {
    bindBytes(statement, parameter, object);
  } else if constexpr (std::same_as<T, double>) {
    bindReal(statement, parameter, object);
  } else if constexpr (std::same_as<T, std::uint64_t>) {
    bindUnsigned(statement, parameter, object);
  } else if constexpr (std::same_as<T, boost::uuids::uuid>) {
    bindUuid(statement, parameter, object);
  } else if constexpr (std::same_as<T, boost::posix_time::ptime>) {
    bindString(statement, parameter, Conversion::toUstring(object));
  } else if constexpr (std::same_as<T, Value>) {
    bindValue(statement, parameter, slot, object);
  } else if (std::same_as<T, std::int64_t> && slot.storage == StorageType::Enum) {
    bindEnum(statement, parameter, typeOf(slot), static_cast<std::int64_t>(object));
  } else {
    statement.bind(parameter, static_cast<std::int64_t>(object));
  }
}

void ValueCodec::bindValue(Statement& statement, int parameter, const SlotInfo& slot, const Value& value) {
  if (!value.hasObject()) {
    statement.bindNull(parameter);
    return;
  }
  switch (slot.storage) {
    case StorageType::Data: {
      std::string& bytes = text();
      bytes = data_text::write(*value.peek<ReflectiveDataType>());
      statement.bindText(parameter, bytes);
      return;
    }
    case StorageType::Map: {
      std::string& bytes = text();
      bytes = data_text::write(value.toStringToStringMap());
      statement.bindText(parameter, bytes);
      return;
    }
    case StorageType::Custom:
      bindString(statement, parameter, tarn::kern::narrow<meta::PrimitiveType>(typeOf(slot))->toText(value));
      return;
    default:
      tarn::kern::internal::dispatchSingle(slot.storage, [&]<class T>(TypeTag<T>) {
        if constexpr (!std::same_as<T, Value>) bindObject(statement, parameter, slot, *value.peek<T>());
      });
  }
}

void ValueCodec::bindSingle(Statement& statement, int parameter, const SlotInfo& slot, const std::byte* area) {
  if (!tarn::kern::internal::isPresent(area, slot)) {
    statement.bindNull(parameter);
    return;
  }
  tarn::kern::internal::dispatchSingle(slot.storage, [&]<class T>(TypeTag<T>) {
    bindObject(statement, parameter, slot, tarn::kern::internal::slotAs<T>(area, slot));
  });
}

void ValueCodec::bindEntry(Statement& statement, int parameter, const SlotInfo& slot, const std::byte* area,
                           std::size_t index) {
  if (slot.shape == SlotShape::Generic) {
    bindValue(statement, parameter, slot, tarn::kern::internal::slotAs<std::vector<Value>>(area, slot)[index]);
    return;
  }
  tarn::kern::internal::dispatchContiguous(slot.storage, [&]<class T>(TypeTag<T>) {
    const auto& vector = tarn::kern::internal::slotAs<std::vector<T>>(area, slot);
    if constexpr (std::same_as<T, bool>) {
      statement.bind(parameter, static_cast<std::int64_t>(vector[index]));
    } else {
      bindObject(statement, parameter, slot, vector[index]);
    }
  });
}

// --- Reading.

boost::uuids::uuid ValueCodec::uuidOf(const Statement& row, int column) const {
  if (row.isText(column)) {
    if (const auto uuid = tarn::kern::io::readUuid(row.text(column))) return *uuid;
  }
  throw strata::StoreError(strata::StoreError::Kind::Damaged, fPath,
                           "\"" + std::string(row.text(column).substr(0, 2 * tarn::kern::io::kUuidLength)) +
                               "\" is no uuid; restore a backup");
}

double ValueCodec::readReal(const Statement& row, int column, const SlotInfo& slot) const {
  if (row.isReal(column)) return row.real(column);
  if (row.isText(column)) {
    if (const auto value = tarn::kern::io::specialRealNamed(row.text(column))) return *value;
  }
  // Somebody may have written a whole number with other tools.
  if (row.isInteger(column)) return static_cast<double>(row.integer(column));
  bad(slot, "\"" + std::string(row.text(column)) + "\"");
}

std::int64_t ValueCodec::readEnum(const Statement& row, int column, const SlotInfo& slot) {
  if (row.isInteger(column)) return row.integer(column);
  const EnumNames& names = namesOf(typeOf(slot));
  const auto found = names.byName.find(std::string(row.text(column)));
  if (found == names.byName.end()) bad(slot, "the literal \"" + std::string(row.text(column)) + "\"");
  return found->second;
}

template <class T>
T ValueCodec::readObject(const Statement& row, int column, const SlotInfo& slot) {
  if constexpr (std::same_as<T, std::int64_t>) {
    if (slot.storage == StorageType::Enum) return readEnum(row, column, slot);
  }
  if constexpr (std::same_as<T, ustring>) {
    return bedrock::i18n::utf8_to_ustring(row.text(column));
  } else if constexpr (std::same_as<T, std::string>) {
    return std::string(row.text(column));
  } else if constexpr (std::same_as<T, double>) {
    return readReal(row, column, slot);
  } else if constexpr (std::same_as<T, boost::uuids::uuid>) {
    return uuidOf(row, column);
  } else if constexpr (std::same_as<T, boost::posix_time::ptime>) {
    try {
      return Conversion::fromUstring(bedrock::i18n::utf8_to_ustring(row.text(column)));
    } catch (const std::invalid_argument&) {
      bad(slot, "\"" + std::string(row.text(column)) + "\"");
    }
  } else if constexpr (std::same_as<T, Value>) {
    return readValue(row, column, slot);
  } else {
    if constexpr (std::same_as<T, std::uint64_t>) {
      if (row.isText(column)) {
        const std::string_view digits = row.text(column);
        T value = 0;
        const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
        if (error != std::errc() || end != digits.data() + digits.size()) bad(slot, "\"" + std::string(digits) + "\"");
        return value;
      }
    }
    const std::int64_t number = row.integer(column);
    if (!row.isInteger(column) || !std::in_range<std::conditional_t<std::same_as<T, bool>, std::uint8_t, T>>(number) ||
        (std::same_as<T, bool> && number > 1)) {
      bad(slot, "\"" + std::string(row.text(column)) + "\"");
    }
    return static_cast<T>(number);
  }
}

Value ValueCodec::readValue(const Statement& row, int column, const SlotInfo& slot) {
  const meta::Type type = typeOf(slot);
  const tarn::kern::ValueMeta valueMeta(type, tarn::kern::ValueFlags::Single);
  const std::string_view bytes = row.text(column);
  try {
    switch (slot.storage) {
      case StorageType::Data:
        return Value(data_text::readData(bytes, tarn::kern::narrow<meta::DataType>(type), fFindElement));
      case StorageType::Map:
        return Value(data_text::readMap(bytes));
      case StorageType::Custom:
        return tarn::kern::narrow<meta::PrimitiveType>(type)->fromText(bedrock::i18n::utf8_to_ustring(bytes));
      default:
        return tarn::kern::internal::dispatchSingle(slot.storage, [&]<class T>(TypeTag<T>) -> Value {
          if constexpr (std::same_as<T, Value>) {
            bad(slot, "a value of its own");
          } else {
            return Value(valueMeta, readObject<T>(row, column, slot));
          }
        });
    }
  } catch (const strata::StoreError&) {
    throw;
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& error) {
    bad(slot, "\"" + std::string(bytes.substr(0, 80)) + "\" (" + error.what() + ")");
  }
}

void ValueCodec::readSingle(const Statement& row, int column, const SlotInfo& slot, std::byte* area) {
  if (row.isNull(column)) return;
  tarn::kern::internal::dispatchSingle(slot.storage, [&]<class T>(TypeTag<T>) {
    tarn::kern::internal::slotAs<T>(area, slot) = readObject<T>(row, column, slot);
  });
  tarn::kern::internal::setPresent(area, slot, true);
}

void ValueCodec::readEntry(const Statement& row, int column, const SlotInfo& slot, std::byte* area) {
  if (row.isNull(column)) bad(slot, "NULL as an entry");
  if (slot.shape == SlotShape::Generic) {
    tarn::kern::internal::slotAs<std::vector<Value>>(area, slot).push_back(readValue(row, column, slot));
    return;
  }
  tarn::kern::internal::dispatchContiguous(slot.storage, [&]<class T>(TypeTag<T>) {
    tarn::kern::internal::slotAs<std::vector<T>>(area, slot).push_back(readObject<T>(row, column, slot));
  });
}

bool ValueCodec::isSameEntry(const Statement& row, int column, const SlotInfo& slot, const std::byte* area,
                             std::size_t index) {
  if (row.isNull(column)) return false;
  if (slot.shape == SlotShape::Generic) {
    return readValue(row, column, slot) == tarn::kern::internal::slotAs<std::vector<Value>>(area, slot)[index];
  }
  return tarn::kern::internal::dispatchContiguous(slot.storage, [&]<class T>(TypeTag<T>) {
    const T stored = readObject<T>(row, column, slot);
    return tarn::kern::internal::StoredTraits<T>::equal(
        stored, static_cast<T>(tarn::kern::internal::slotAs<std::vector<T>>(area, slot)[index]));
  });
}

}  // namespace strata_datasource
