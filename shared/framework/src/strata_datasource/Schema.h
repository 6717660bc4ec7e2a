#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include <tarn/kern/meta/Class.h>
#include <tarn/kern/meta/Property.h>

#include "SqlNames.h"
#include "strata/Database.h"
#include "tarn/kern/Layout.h"

/// What the tables of a store are called, what stands in them, and whether they are what this library made.
/// The format is described in docs/formats/store.md.
namespace strata_datasource {

inline constexpr std::uint32_t kApplicationId = 0x7461726E;  // "tarn"
inline constexpr std::uint32_t kFormatVersion = 1;
/// Ids count up from 1. Nobody gets this far; a file that says so is not to be counted on from there.
inline constexpr std::int64_t kLastId = std::int64_t{1} << 60U;

/// Where the content of a property stands.
enum class Place : std::uint8_t {
  Nowhere,          ///< derived or transient, or the way back of a composite property
  Column,           ///< a column of the class's table
  ReferenceColumn,  ///< the same, holding the id of an element
  ValueTable,       ///< a table of its own: owner, position, value
  ReferenceTable,   ///< the same, the values being ids of elements
  MapTable,         ///< a table of its own: owner, position, key, value
  Containment,      ///< the table of elements says which element stands in it
};
[[nodiscard]] Place placeOf(const tarn::kern::internal::SlotInfo& slot) noexcept;

/// The table of one collection or map property, shared by all classes that have the property.
struct CollectionPlan {
  const tarn::kern::meta::Property::Impl* property = nullptr;
  Place place = Place::Nowhere;
  std::string table;

  strata::Statement selectRange;      // owners ?1 to ?2, by owner and position: owner, value (or key, value), ...
  strata::Statement selectPositions;  // of owner ?1: position, value
  strata::Statement selectLast;       // the last position of owner ?1
  strata::Statement selectReferrers;  // owners that hold ?1
  strata::Statement insert;           // owner, position, value (or key, value); replaces
  strata::Statement removeOwner;
  strata::Statement removeAt;    // owner ?1, position ?2
  strata::Statement removeFrom;  // owner ?1, positions from ?2 on
};

struct SlotPlan {
  Place place = Place::Nowhere;
  std::int64_t id = 0;  // in the table property
  std::string column;   // Column, ReferenceColumn
  CollectionPlan* collection = nullptr;
  strata::Statement update;           // column ?1 of element ?2
  strata::Statement selectReferrers;  // ids of elements that refer to ?1
};

struct ClassPlan {
  std::int64_t id = 0;
  tarn::kern::meta::Class type;
  std::string table;
  std::vector<SlotPlan> slots;             // as those of the layout
  std::vector<std::uint16_t> columnSlots;  // in the order of the columns, behind id
  std::vector<std::uint16_t> tableSlots;   // ValueTable, ReferenceTable, MapTable
  bool isWithIndexes = false;              // the columns that refer to elements have their index

  strata::Statement selectRange;  // ids ?1 to ?2: id and the columns
  strata::Statement selectAll;    // id, uuid of every element of exactly this class, by id
  strata::Statement insert;
  strata::Statement remove;

  [[nodiscard]] const tarn::kern::internal::Layout& layout() const noexcept { return type->layout(); }
};

/// Where an element can stand: a composite property of a class.
struct Role {
  ClassPlan* owner = nullptr;
  std::uint16_t slot = 0;
};

class Schema {
 public:
  explicit Schema(strata::Database& database) noexcept : fDatabase(database) {}
  Schema(const Schema&) = delete;
  Schema& operator=(const Schema&) = delete;

  /// Takes all tables out of a store. Within a transaction.
  static void dropAll(strata::Database& database);
  /// Makes the tables of an empty store. Within a transaction.
  void createBase();
  /// Reads which classes the store holds, and checks that its tables are those of this format and of the registered
  /// packages. Reads no content. @throws strata::StoreError
  void load();
  /// The URIs of the packages that the store's classes are of, as it names them. @pre the base tables are there.
  [[nodiscard]] static std::vector<tarn::kern::ustring> packageUris(strata::Database& database);

  /// The plan of a class; its tables are made when it is the first element of its class. Within a transaction that
  /// writes.
  ClassPlan& planFor(const tarn::kern::meta::Class& type);
  /// The plan of a class that the store has elements of, or nullptr.
  [[nodiscard]] ClassPlan* find(const tarn::kern::meta::Class& type) noexcept;
  [[nodiscard]] ClassPlan* byId(std::int64_t id) noexcept;
  [[nodiscard]] const Role* role(std::int64_t propertyId) const noexcept;
  [[nodiscard]] const std::vector<std::unique_ptr<ClassPlan>>& classes() const noexcept { return fClasses; }
  [[nodiscard]] const std::vector<std::unique_ptr<CollectionPlan>>& collections() const noexcept {
    return fCollections;
  }

  /// While a new store is filled its indexes wait for the end: building one at once is several times cheaper.
  void deferIndexes() noexcept { fDefersIndexes = true; }
  void createDeferredIndexes();

  /// What planFor has added since then is gone: its transaction was rolled back.
  struct Mark {
    std::size_t classes = 0;
    std::size_t collections = 0;
  };
  [[nodiscard]] Mark mark() const noexcept { return {fClasses.size(), fCollections.size()}; }
  void rollBackTo(Mark mark) noexcept;
  /// Lets all prepared statements go, which the database must outlive.
  void clear() noexcept;

 private:
  struct Row;
  class Loader;

  std::unique_ptr<ClassPlan> makePlan(const tarn::kern::meta::Class& type);
  CollectionPlan& collectionFor(const tarn::kern::internal::SlotInfo& slot);
  CollectionPlan& addCollection(const tarn::kern::meta::Property::Impl* property, Place place, std::string table);
  void insertRows(const ClassPlan& plan);
  ClassPlan& adopt(std::unique_ptr<ClassPlan> plan);
  void createIndex(const std::string& sql);
  void prepareIds();

  strata::Database& fDatabase;
  SqlNames fTables;
  std::vector<std::unique_ptr<ClassPlan>> fClasses;
  std::vector<std::unique_ptr<CollectionPlan>> fCollections;
  std::unordered_map<const tarn::kern::meta::Class::Impl*, ClassPlan*> fByType;
  std::unordered_map<std::int64_t, ClassPlan*> fById;
  std::unordered_map<std::int64_t, Role> fRoles;
  std::unordered_map<const tarn::kern::meta::Property::Impl*, CollectionPlan*> fByProperty;
  std::int64_t fNextClass = 1;
  std::int64_t fNextProperty = 1;
  bool fDefersIndexes = false;
  std::vector<std::string> fDeferredIndexes;
};

/// A text that changes with everything that the tables of a class depend on.
[[nodiscard]] std::string layoutDigest(const tarn::kern::meta::Class& type);

}  // namespace strata_datasource
