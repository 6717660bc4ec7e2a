#include "Schema.h"

#include <algorithm>
#include <map>
#include <unordered_set>
#include <utility>

#include <strata/StoreError.h>
#include <tarn/kern/meta/Enum.h>
#include <tarn/kern/meta/MetaRegistry.h>
#include <tarn/kern/meta/Package.h>

namespace strata_datasource {

using bedrock::i18n::to_string;
using bedrock::i18n::ustring_to_utf8;
using strata::StoreError;
using tarn::kern::StorageType;
using tarn::kern::ustring;
using tarn::kern::internal::Layout;
using tarn::kern::internal::SlotInfo;
using tarn::kern::internal::SlotShape;
namespace meta = tarn::kern::meta;

namespace {

/// One table or index and the text that makes it.
struct Definition {
  const char* name;
  const char* sql;
};

constexpr Definition kBaseTables[] = {
    {"package", "CREATE TABLE package(\n  uri TEXT PRIMARY KEY NOT NULL\n) STRICT"},
    {"class",
     "CREATE TABLE class(\n  id INTEGER PRIMARY KEY,\n  package TEXT NOT NULL REFERENCES package,\n  name TEXT NOT "
     "NULL,\n"
     "  \"table\" TEXT NOT NULL,\n  layout TEXT NOT NULL\n) STRICT"},
    {"property",
     "CREATE TABLE property(\n  id INTEGER PRIMARY KEY,\n  class INTEGER NOT NULL REFERENCES class,\n"
     "  name TEXT NOT NULL,\n  type TEXT NOT NULL,\n  form TEXT NOT NULL,\n  place TEXT NOT NULL,\n  \"table\" TEXT "
     "NOT NULL,\n  \"column\" TEXT\n) STRICT"},
    {"element",
     "CREATE TABLE element(\n  id INTEGER PRIMARY KEY,\n  uuid TEXT NOT NULL,\n  class INTEGER NOT NULL,\n"
     "  container INTEGER,\n  role INTEGER,\n  position INTEGER NOT NULL\n) STRICT"},
    {"empty_place",
     "CREATE TABLE empty_place(\n  container INTEGER NOT NULL,\n  role INTEGER NOT NULL,\n  position INTEGER NOT "
     "NULL,\n"
     "  PRIMARY KEY(container, role, position)\n) STRICT, WITHOUT ROWID"},
};
constexpr Definition kBaseIndexes[] = {
    {"element_uuid", "CREATE UNIQUE INDEX element_uuid ON element(uuid)"},
    {"element_place", "CREATE INDEX element_place ON element(container, role, position)"},
};

/// What the table property calls the place of a property.
const char* placeName(const SlotInfo& slot) noexcept {
  switch (placeOf(slot)) {
    case Place::Nowhere:
      return "nowhere";
    case Place::Column:
      return "value";
    case Place::ReferenceColumn:
      return "reference";
    case Place::ValueTable:
      return "values";
    case Place::ReferenceTable:
      return "references";
    case Place::MapTable:
      return "map";
    case Place::Containment:
      return slot.shape == SlotShape::Reference ? "content" : "contents";
  }
  return "";
}

const char* columnType(StorageType storage) noexcept {
  switch (storage) {
    case StorageType::Integer:
    case StorageType::Integer8:
    case StorageType::Integer16:
    case StorageType::Integer64:
    case StorageType::UnlimitedNatural:
    case StorageType::UInteger8:
    case StorageType::UInteger16:
    case StorageType::Boolean:
    case StorageType::Element:
      return "INTEGER";
    case StorageType::String:
    case StorageType::Uuid:
    case StorageType::DateTime:
    case StorageType::Map:
    case StorageType::Data:
    case StorageType::Custom:
      return "TEXT";
    // More than one kind of SQL value is needed to hold these exactly.
    case StorageType::Real:
    case StorageType::UInteger64:
    case StorageType::StdString:
    case StorageType::Enum:
      return "ANY";
  }
  return "ANY";
}

/// How the values of a property are written, for people, and for reading a file whose meta-model is gone.
const char* formOf(const SlotInfo& slot) noexcept {
  if (slot.isReferenceLike()) return "element";
  switch (slot.storage) {
    case StorageType::Boolean:
      return "boolean";
    case StorageType::Integer:
    case StorageType::Integer8:
    case StorageType::Integer16:
    case StorageType::Integer64:
    case StorageType::UnlimitedNatural:
    case StorageType::UInteger8:
    case StorageType::UInteger16:
    case StorageType::UInteger64:
    case StorageType::Real:
      return "number";
    case StorageType::Enum:
      return "literal";
    case StorageType::StdString:
      return "bytes";
    case StorageType::Data:
      return "json";
    case StorageType::Map:
      return slot.shape == SlotShape::Single ? "text" : "json";
    case StorageType::String:
    case StorageType::Uuid:
    case StorageType::DateTime:
    case StorageType::Custom:
    case StorageType::Element:
      break;
  }
  return "text";
}

bool isPlainName(std::string_view name) {
  return !name.empty() && name.size() < 200 && std::all_of(name.begin(), name.end(), [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
  });
}

bool isInClassTable(Place place) noexcept { return place == Place::Column || place == Place::ReferenceColumn; }
bool isInOwnTable(Place place) noexcept {
  return place == Place::ValueTable || place == Place::ReferenceTable || place == Place::MapTable;
}
bool needsReverseLookup(const SlotInfo& slot) noexcept {
  return slot.isReferenceLike() && !slot.isPaired && !slot.isComposite;
}

std::string classTableSql(const ClassPlan& plan) {
  std::string sql = "CREATE TABLE " + plan.table + "(\n  id INTEGER PRIMARY KEY";
  for (const std::uint16_t index : plan.columnSlots) {
    sql += ",\n  " + plan.slots[index].column + " " + columnType(plan.layout().slots[index].storage);
  }
  return sql + "\n) STRICT";
}

std::string collectionTableSql(const CollectionPlan& plan) {
  std::string sql = "CREATE TABLE " + plan.table + "(\n  owner INTEGER NOT NULL,\n  position INTEGER NOT NULL,\n";
  if (plan.place == Place::MapTable) {
    sql += "  \"key\" TEXT NOT NULL,\n  value TEXT NOT NULL,\n";
  } else {
    const StorageType storage = tarn::kern::internal::storageTypeOf(plan.property->getType());
    // A collection of references may hold null.
    sql += std::string("  value ") + columnType(storage) + (storage == StorageType::Element ? "" : " NOT NULL") + ",\n";
  }
  return sql + "  PRIMARY KEY(owner, position)\n) STRICT, WITHOUT ROWID";
}

/// With a dot, which no table's name has: tables and indexes share their names.
std::string indexName(const std::string& table, const std::string& column) {
  return strata::quotedName(table + "." + column);
}
std::string columnIndexSql(const std::string& table, const std::string& column) {
  return "CREATE INDEX " + indexName(table, column) + " ON " + table + "(" + column + ") WHERE " + column +
         " IS NOT NULL";
}
std::string valueIndexSql(const CollectionPlan& plan) {
  return "CREATE INDEX " + indexName(plan.table, "value") + " ON " + plan.table + "(value)";
}

/// Whether a collection of references is asked who holds a given element.
bool isLookedUp(const CollectionPlan& plan) {
  return plan.place == Place::ReferenceTable && !plan.property->getOpposite();
}

void prepareClass(strata::Database& database, ClassPlan& plan) {
  std::string columns;
  std::string parameters;
  for (const std::uint16_t index : plan.columnSlots) {
    const SlotPlan& slot = plan.slots[index];
    columns += ", " + slot.column;
    parameters += ", ?";
  }
  plan.selectRange =
      database.prepareLater("SELECT id" + columns + " FROM " + plan.table + " WHERE id BETWEEN ?1 AND ?2 ORDER BY id");
  plan.selectAll = database.prepareLater("SELECT e.id, e.uuid FROM " + plan.table +
                                         " t CROSS JOIN element e ON e.id = t.id ORDER BY t.id");
  plan.insert = database.prepareLater("INSERT INTO " + plan.table + " VALUES(?" + parameters + ")");
  plan.remove = database.prepareLater("DELETE FROM " + plan.table + " WHERE id = ?1");
}

void prepareCollection(strata::Database& database, CollectionPlan& plan) {
  const std::string& table = plan.table;
  const bool isMap = plan.place == Place::MapTable;
  const std::string range = " WHERE c.owner BETWEEN ?1 AND ?2 ORDER BY c.owner, c.position";
  if (plan.place == Place::ReferenceTable) {
    plan.selectRange = database.prepareLater("SELECT c.owner, c.value, e.uuid, e.class FROM " + table +
                                             " c LEFT JOIN element e ON e.id = c.value" + range);
  } else {
    plan.selectRange = database.prepareLater(std::string("SELECT c.owner, ") + (isMap ? "c.\"key\", " : "") +
                                             "c.value FROM " + table + " c" + range);
  }
  plan.selectPositions = database.prepareLater(std::string("SELECT position, ") + (isMap ? "\"key\", " : "") +
                                               "value FROM " + table + " WHERE owner = ?1 ORDER BY position");
  plan.selectLast =
      database.prepareLater("SELECT position FROM " + table + " WHERE owner = ?1 ORDER BY position DESC LIMIT 1");
  if (isLookedUp(plan)) {
    plan.selectReferrers = database.prepareLater("SELECT owner FROM " + table + " WHERE value = ?1");
  }
  plan.insert = database.prepareLater("INSERT OR REPLACE INTO " + table +
                                      (isMap ? " VALUES(?1, ?2, ?3, ?4)" : " VALUES(?1, ?2, ?3)"));
  plan.removeOwner = database.prepareLater("DELETE FROM " + table + " WHERE owner = ?1");
  plan.removeAt = database.prepareLater("DELETE FROM " + table + " WHERE owner = ?1 AND position = ?2");
  plan.removeFrom = database.prepareLater("DELETE FROM " + table + " WHERE owner = ?1 AND position >= ?2");
}

/// 64-bit FNV-1a. A change of the meta-model is an accident, not an attack.
class Digest {
 public:
  void add(std::string_view text) {
    for (const char c : text) add(static_cast<unsigned char>(c));
    add(static_cast<unsigned char>(0));
  }
  void add(const ustring& text) { add(std::string_view(ustring_to_utf8(text))); }
  [[nodiscard]] std::string text() const {
    std::string hex;
    for (int shift = 60; shift >= 0; shift -= 4)
      hex += "0123456789abcdef"[(fHash >> static_cast<unsigned>(shift)) & 15U];
    return hex;
  }

 private:
  void add(unsigned char byte) {
    fHash ^= byte;
    fHash *= 0x100000001B3ULL;
  }
  std::uint64_t fHash = 0xCBF29CE484222325ULL;
};

/// The attributes of the data types that values of a property hold; each type once, however they nest.
void addDataTypes(Digest& digest, const meta::Type& type) {
  std::vector<meta::DataType> open;
  std::unordered_set<const void*> seen;
  const auto visit = [&](const meta::Type& found) {
    if (const auto data = tarn::kern::narrow<meta::DataType>(found); data && seen.insert(data.get()).second) {
      open.push_back(data);
    }
  };
  visit(type);
  while (!open.empty()) {
    const meta::DataType data = open.back();
    open.pop_back();
    for (const meta::Property& attribute : data->getAllProperties()) {
      digest.add(attribute->getName());
      digest.add(attribute->getType()->getQualifiedName());
      digest.add(attribute->isCollection() ? "many" : "one");
      visit(attribute->getType());
    }
  }
}

}  // namespace

Place placeOf(const SlotInfo& slot) noexcept {
  if (slot.shape == SlotShape::Container) return Place::Nowhere;
  if (slot.isComposite) return Place::Containment;
  // Both ends of a pair are one fact, so an omitted end is kept with the other.
  if (slot.property->isOmitted && !slot.isPaired) return Place::Nowhere;
  switch (slot.shape) {
    case SlotShape::Single:
      return slot.storage == StorageType::Map ? Place::MapTable : Place::Column;
    case SlotShape::Reference:
      return Place::ReferenceColumn;
    case SlotShape::Elements:
      return Place::ReferenceTable;
    case SlotShape::Typed:
    case SlotShape::Generic:
      return Place::ValueTable;
    case SlotShape::Container:
      break;
  }
  return Place::Nowhere;
}

std::string layoutDigest(const meta::Class& type) {
  Digest digest;
  for (const SlotInfo& slot : type->layout().slots) {
    digest.add(slot.property->getName());
    digest.add(slot.property->getType()->getQualifiedName());
    digest.add(placeName(slot));
    digest.add(slot.isPaired ? slot.property->getOpposite()->getName() : ustring());
    addDataTypes(digest, slot.property->getType());
  }
  return digest.text();
}

// --- Making tables.

void Schema::dropAll(strata::Database& database) {
  std::vector<std::string> tables;
  {
    strata::Statement rows = database.prepare(
        "SELECT name FROM sqlite_schema WHERE type = 'table' AND name NOT LIKE 'sqlite\\_%' ESCAPE '\\'");
    while (rows.step()) tables.emplace_back(rows.text(0));
  }
  database.execute("PRAGMA defer_foreign_keys=ON");
  for (const std::string& table : tables) database.execute("DROP TABLE " + strata::quotedName(table));
}

void Schema::createBase() {
  fDatabase.execute("PRAGMA application_id=" + std::to_string(kApplicationId));
  fDatabase.execute("PRAGMA user_version=" + std::to_string(kFormatVersion));
  for (const Definition& table : kBaseTables) {
    fDatabase.execute(table.sql);
    fTables.add(table.name);
  }
  for (const Definition& index : kBaseIndexes) {
    createIndex(index.sql);
    fTables.add(index.name);
  }
}

void Schema::createIndex(const std::string& sql) {
  if (fDefersIndexes) {
    fDeferredIndexes.push_back(sql);
  } else {
    fDatabase.execute(sql);
  }
}

void Schema::createDeferredIndexes() {
  fDefersIndexes = false;
  for (const std::string& sql : fDeferredIndexes) fDatabase.execute(sql);
  fDeferredIndexes.clear();
}

ClassPlan* Schema::find(const meta::Class& type) noexcept {
  const auto found = fByType.find(type.get());
  return found == fByType.end() ? nullptr : found->second;
}

ClassPlan* Schema::byId(std::int64_t id) noexcept {
  const auto found = fById.find(id);
  return found == fById.end() ? nullptr : found->second;
}

const Role* Schema::role(std::int64_t propertyId) const noexcept {
  const auto found = fRoles.find(propertyId);
  return found == fRoles.end() ? nullptr : &found->second;
}

CollectionPlan& Schema::addCollection(const meta::Property::Impl* property, Place place, std::string table) {
  auto plan = std::make_unique<CollectionPlan>();
  plan->property = property;
  plan->place = place;
  plan->table = std::move(table);
  fByProperty[property] = plan.get();
  fCollections.push_back(std::move(plan));
  return *fCollections.back();
}

CollectionPlan& Schema::collectionFor(const SlotInfo& slot) {
  if (const auto found = fByProperty.find(slot.property); found != fByProperty.end()) return *found->second;
  const meta::Property property(const_cast<meta::Property::Impl*>(slot.property));  // handles are not const
  CollectionPlan& plan = addCollection(slot.property, placeOf(slot),
                                       fTables.take(property->getOwner()->getName() + u"_" + property->getName()));
  fDatabase.execute(collectionTableSql(plan));
  if (isLookedUp(plan)) createIndex(valueIndexSql(plan));
  prepareCollection(fDatabase, plan);
  return plan;
}

std::unique_ptr<ClassPlan> Schema::makePlan(const meta::Class& type) {
  auto plan = std::make_unique<ClassPlan>();
  plan->type = type;
  plan->id = fNextClass++;
  plan->table = fTables.take(type->getName());
  SqlNames columns;
  columns.add("id");
  for (const SlotInfo& slot : type->layout().slots) {
    SlotPlan& slotPlan = plan->slots.emplace_back();
    slotPlan.place = placeOf(slot);
    if (slotPlan.place == Place::Nowhere) continue;
    slotPlan.id = fNextProperty++;
    if (isInClassTable(slotPlan.place)) {
      slotPlan.column = columns.take(slot.property->getName());
      plan->columnSlots.push_back(slot.index);
    }
  }
  return plan;
}

ClassPlan& Schema::adopt(std::unique_ptr<ClassPlan> made) {
  ClassPlan& plan = *made;
  fClasses.push_back(std::move(made));
  fByType[plan.type.get()] = &plan;
  fById[plan.id] = &plan;
  for (std::size_t i = 0; i < plan.slots.size(); ++i) {
    const SlotPlan& slot = plan.slots[i];
    if (slot.place == Place::Containment) fRoles[slot.id] = {&plan, static_cast<std::uint16_t>(i)};
    if (isInOwnTable(slot.place)) plan.tableSlots.push_back(static_cast<std::uint16_t>(i));
  }
  return plan;
}

ClassPlan& Schema::planFor(const meta::Class& type) {
  if (ClassPlan* known = find(type)) return *known;
  constexpr std::size_t kMostColumns = 1'999;  // of one table in SQLite, the id left out
  ClassPlan& plan = adopt(makePlan(type));
  if (plan.columnSlots.size() > kMostColumns) {
    throw StoreError(StoreError::Kind::MetaModel, fDatabase.path(),
                     "the class " + to_string(type->getQualifiedName()) + " has " +
                         std::to_string(plan.columnSlots.size()) +
                         " single-valued properties, and a table holds 1999 columns at most; move some to a part");
  }
  for (const std::uint16_t index : plan.tableSlots) {
    plan.slots[index].collection = &collectionFor(plan.layout().slots[index]);
  }
  fDatabase.execute(classTableSql(plan));
  for (const std::uint16_t index : plan.columnSlots) {
    if (needsReverseLookup(plan.layout().slots[index]))
      createIndex(columnIndexSql(plan.table, plan.slots[index].column));
  }
  prepareClass(fDatabase, plan);
  insertRows(plan);
  return plan;
}

void Schema::insertRows(const ClassPlan& plan) {
  const std::string uri = ustring_to_utf8(plan.type->getOwningPackage()->getUri());
  const std::string name = ustring_to_utf8(plan.type->getQualifiedName());
  const std::string digest = layoutDigest(plan.type);
  strata::Statement package = fDatabase.prepare("INSERT OR IGNORE INTO package VALUES(?1)");
  package.bindText(1, uri).run();
  strata::Statement row = fDatabase.prepare("INSERT INTO class VALUES(?1, ?2, ?3, ?4, ?5)");
  row.bind(1, plan.id).bindText(2, uri).bindText(3, name).bindText(4, plan.table).bindText(5, digest).run();

  strata::Statement property = fDatabase.prepare("INSERT INTO property VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8)");
  for (std::size_t i = 0; i < plan.slots.size(); ++i) {
    const SlotPlan& slot = plan.slots[i];
    if (slot.place == Place::Nowhere) continue;
    const SlotInfo& info = plan.layout().slots[i];
    const std::string propertyName = ustring_to_utf8(info.property->getName());
    const std::string typeName = ustring_to_utf8(info.property->getType()->getQualifiedName());
    std::string table = slot.collection != nullptr ? slot.collection->table : plan.table;
    if (slot.place == Place::Containment) table = "element";
    property.bind(1, slot.id)
        .bind(2, plan.id)
        .bindText(3, propertyName)
        .bindText(4, typeName)
        .bindText(5, formOf(info));
    property.bindText(6, placeName(info)).bindText(7, table);
    isInClassTable(slot.place) ? property.bindText(8, slot.column) : property.bindNull(8);
    property.run();
  }
}

void Schema::rollBackTo(Mark mark) noexcept {
  for (std::size_t i = mark.classes; i < fClasses.size(); ++i) {
    const ClassPlan& plan = *fClasses[i];
    fByType.erase(plan.type.get());
    fById.erase(plan.id);
    fTables.release(plan.table);
    for (const SlotPlan& slot : plan.slots) fRoles.erase(slot.id);
  }
  fClasses.resize(mark.classes);
  for (std::size_t i = mark.collections; i < fCollections.size(); ++i) {
    fByProperty.erase(fCollections[i]->property);
    fTables.release(fCollections[i]->table);
  }
  fCollections.resize(mark.collections);
}

void Schema::clear() noexcept {
  rollBackTo({});
  fTables = {};
}

// --- Reading and checking what a file has.

struct Schema::Row {
  std::int64_t id = 0;
  std::string place;
  std::string table;
  std::string column;
  bool isUsed = false;
};

class Schema::Loader {
 public:
  explicit Loader(Schema& schema) : fSchema(schema), fDatabase(schema.fDatabase) {}

  void run() {
    readSchema();
    for (const Definition& table : kBaseTables) expect("table", table.name, table.sql);
    for (const Definition& index : kBaseIndexes) expect("index", index.name, index.sql);
    readClasses();
    for (const auto& [name, object] : fObjects) {
      if (!object.isExpected) {
        damaged("it holds the " + object.type + " \"" + name +
                "\", which no store has; remove it, or restore a backup");
      }
    }
  }

 private:
  struct Object {
    std::string type;
    std::string sql;
    bool isExpected = false;
  };

  [[noreturn]] void damaged(const std::string& text) const {
    throw StoreError(StoreError::Kind::Damaged, fDatabase.path(), text);
  }

  void readSchema() {
    strata::Statement rows = fDatabase.prepare("SELECT type, name, sql FROM sqlite_schema");
    while (rows.step()) {
      const std::string name(rows.text(1));
      // What SQLite makes for itself: the indexes of primary keys, and what ANALYZE leaves.
      if (name.starts_with("sqlite_autoindex_") || name.starts_with("sqlite_stat")) continue;
      fObjects[name] = {std::string(rows.text(0)), std::string(rows.text(2))};
      fSchema.fTables.add(name);
    }
  }

  void expect(const std::string& type, const std::string& name, const std::string& sql) {
    const auto found = fObjects.find(name);
    if (found == fObjects.end()) damaged("the " + type + " \"" + name + "\" is missing; restore a backup");
    if (found->second.type != type || found->second.sql != sql) {
      damaged("the " + type + " \"" + name + "\" is not as a store makes it; restore a backup");
    }
    found->second.isExpected = true;
  }

  void readClasses() {
    strata::Statement rows = fDatabase.prepare("SELECT id, package, name, \"table\", layout FROM class ORDER BY id");
    while (rows.step()) {
      auto plan = std::make_unique<ClassPlan>();
      plan->id = rows.integer(0);
      plan->type = typeOf(rows.text(1), rows.text(2));
      plan->table = checkedName(rows.text(3));
      checkDigest(*plan, rows.text(4));
      readSlots(*plan);
      finish(std::move(plan));
    }
    fSchema.prepareIds();
  }

  meta::Class typeOf(std::string_view packageUri, std::string_view className) const {
    const ustring uri = bedrock::i18n::utf8_to_ustring(packageUri);
    const meta::Package package = meta::MetaRegistry::getInstance()->getPackage(uri);
    if (!package) {
      throw StoreError(StoreError::Kind::UnknownPackage, fDatabase.path(),
                       "it needs the package " + to_string(uri) + ", which is not registered; register it first");
    }
    const ustring name = bedrock::i18n::utf8_to_ustring(className);
    meta::Class type;
    for (const meta::Type& candidate : package->getTypesInOrder()) {
      if (candidate->getQualifiedName() == name) type = tarn::kern::narrow<meta::Class>(candidate);
    }
    if (!type) {
      throw StoreError(
          StoreError::Kind::MetaModel, fDatabase.path(),
          "it has elements of the class " + std::string(className) + ", and the package " + to_string(uri) +
              " has none of that name; register the version of the package that the store was written with");
    }
    return type;
  }

  std::string checkedName(std::string_view name) const {
    if (!isPlainName(name)) damaged("\"" + std::string(name) + "\" is no name of a table or column; restore a backup");
    return std::string(name);
  }

  void checkDigest(const ClassPlan& plan, std::string_view digest) const {
    if (layoutDigest(plan.type) == digest) return;
    throw StoreError(StoreError::Kind::MetaModel, fDatabase.path(),
                     "the class " + to_string(plan.type->getQualifiedName()) +
                         " has other properties than when the store was written, and its package bears the same URI " +
                         to_string(plan.type->getOwningPackage()->getUri()) +
                         "; register the package as it was, or give the changed one a new version");
  }

  void readSlots(ClassPlan& plan) {
    std::map<std::string, Row, std::less<>> rows;
    strata::Statement properties =
        fDatabase.prepare("SELECT id, name, place, \"table\", \"column\" FROM property WHERE class = ?1");
    properties.bind(1, plan.id);
    while (properties.step()) {
      rows[std::string(properties.text(1))] = {properties.integer(0), std::string(properties.text(2)),
                                               std::string(properties.text(3)), std::string(properties.text(4))};
    }
    std::size_t used = 0;
    for (const SlotInfo& slot : plan.layout().slots) {
      SlotPlan& slotPlan = plan.slots.emplace_back();
      slotPlan.place = placeOf(slot);
      if (slotPlan.place == Place::Nowhere) continue;
      const auto found = rows.find(ustring_to_utf8(slot.property->getName()));
      if (found == rows.end() || found->second.place != placeName(slot)) {
        damaged("the table property does not say where " + to_string(plan.type->getQualifiedName()) + "." +
                to_string(slot.property->getName()) + " stands; restore a backup");
      }
      ++used;
      readSlot(plan, slot, slotPlan, found->second);
    }
    if (used != rows.size()) {
      damaged("the table property names properties that " + to_string(plan.type->getQualifiedName()) + " lacks");
    }
  }

  void readSlot(ClassPlan& plan, const SlotInfo& slot, SlotPlan& slotPlan, const Row& row) {
    slotPlan.id = row.id;
    if (isInClassTable(slotPlan.place)) {
      slotPlan.column = checkedName(row.column);
      plan.columnSlots.push_back(slot.index);
    } else if (isInOwnTable(slotPlan.place)) {
      slotPlan.collection = &collection(slot, row);
    }
  }

  CollectionPlan& collection(const SlotInfo& slot, const Row& row) {
    const auto known = fSchema.fByProperty.find(slot.property);
    if (known != fSchema.fByProperty.end()) {
      if (known->second->table != row.table) damaged("the table property names two tables for one property");
      return *known->second;
    }
    CollectionPlan& plan = fSchema.addCollection(slot.property, placeOf(slot), checkedName(row.table));
    expect("table", plan.table, collectionTableSql(plan));
    if (isLookedUp(plan)) expect("index", plan.table + ".value", valueIndexSql(plan));
    prepareCollection(fDatabase, plan);
    return plan;
  }

  void finish(std::unique_ptr<ClassPlan> made) {
    // Columns stand in the order of the properties, which the digest has found to be the same.
    ClassPlan& plan = fSchema.adopt(std::move(made));
    expect("table", plan.table, classTableSql(plan));
    for (const std::uint16_t index : plan.columnSlots) {
      const std::string& column = plan.slots[index].column;
      if (needsReverseLookup(plan.layout().slots[index])) {
        expect("index", plan.table + "." + column, columnIndexSql(plan.table, column));
      }
    }
    prepareClass(fDatabase, plan);
  }

  Schema& fSchema;
  strata::Database& fDatabase;
  std::map<std::string, Object> fObjects;
};

void Schema::load() { Loader(*this).run(); }

void Schema::prepareIds() {
  const auto next = [&](const char* question) {
    const std::int64_t last = fDatabase.askInteger(question);
    if (last >= 0 && last < kLastId) return last + 1;
    throw StoreError(StoreError::Kind::Damaged, fDatabase.path(), "an id is out of range; restore a backup");
  };
  fNextClass = next("SELECT max(id) FROM class");
  fNextProperty = next("SELECT max(id) FROM property");
}

std::vector<ustring> Schema::packageUris(strata::Database& database) {
  std::vector<ustring> uris;
  strata::Statement rows = database.prepare("SELECT uri FROM package ORDER BY uri");
  while (rows.step()) uris.push_back(bedrock::i18n::utf8_to_ustring(rows.text(0)));
  return uris;
}

}  // namespace strata_datasource
