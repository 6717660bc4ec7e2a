#include "StoreEvolution.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <unordered_map>
#include <utility>
#include <vector>

#include <bedrock/deep_call.h>
#include <strata/StoreError.h>

#include "DataText.h"
#include "StoreWriter.h"
#include "tarn/kern/io/ModelLoader.h"
#include "tarn/kern/io/PlainText.h"

namespace strata_datasource {

using bedrock::i18n::utf8_to_ustring;
using strata::Statement;
using strata::StoreError;
using tarn::kern::io::RawElement;
using tarn::kern::io::RawNumber;
using tarn::kern::io::RawReference;
using tarn::kern::io::RawValue;

namespace {

/// Reads the content of a store by what the store itself says of its tables.
class RawStoreReader {
 public:
  explicit RawStoreReader(strata::Database& database) : fDatabase(database) { readClasses(); }

  /// The top-level elements with all they contain.
  std::vector<RawElement> read() {
    readElements();
    for (const auto& [id, type] : fClasses) readClass(type);
    for (const std::string& table : fCollectionTables) readCollection(table);
    std::vector<RawElement> roots;
    for (const std::int64_t id : fTop) roots.push_back(tree(id));
    return roots;
  }

 private:
  struct Property {
    tarn::kern::ustring name;
    std::string form;
    std::string place;
    std::string table;
    std::string column;
  };
  struct Class {
    std::int64_t id = 0;
    tarn::kern::ustring name;
    std::string table;
    std::vector<std::int64_t> properties;
  };
  struct Element {
    const Class* type = nullptr;
    boost::uuids::uuid uuid = {};
    std::map<std::int64_t, RawValue> values;                     // by property
    std::map<std::int64_t, std::vector<std::int64_t>> contents;  // the same; 0 for a null member
  };

  void readClasses() {
    Statement classes = fDatabase.prepare("SELECT id, name, \"table\" FROM class ORDER BY id");
    while (classes.step()) {
      const std::int64_t id = classes.integer(0);
      fClasses[id] = {id, utf8_to_ustring(classes.text(1)), std::string(classes.text(2)), {}};
    }
    Statement properties =
        fDatabase.prepare("SELECT id, class, name, form, place, \"table\", \"column\" FROM property ORDER BY id");
    while (properties.step()) {
      const std::int64_t id = properties.integer(0);
      fProperties[id] = {utf8_to_ustring(properties.text(2)), std::string(properties.text(3)),
                         std::string(properties.text(4)), std::string(properties.text(5)),
                         std::string(properties.text(6))};
      fClasses[properties.integer(1)].properties.push_back(id);
      const Property& property = fProperties[id];
      const bool isOwn = property.place == "values" || property.place == "references" || property.place == "map";
      const bool isKnown =
          std::find(fCollectionTables.begin(), fCollectionTables.end(), property.table) != fCollectionTables.end();
      if (isOwn && !isKnown) fCollectionTables.push_back(property.table);
    }
  }

  void readElements() {
    Statement rows = fDatabase.prepare("SELECT id, uuid, class FROM element");
    while (rows.step()) {
      Element& element = fElements[rows.integer(0)];
      const auto uuid = tarn::kern::io::readUuid(rows.text(1));
      const auto type = fClasses.find(rows.integer(2));
      if (!uuid || type == fClasses.end()) damaged("an element has no uuid or no class");
      element.uuid = *uuid;
      element.type = &type->second;
    }
    Statement places = fDatabase.prepare(
        "SELECT id, container, role, position FROM element UNION ALL "
        "SELECT 0, container, role, position FROM empty_place ORDER BY container, role, position");
    while (places.step()) {
      if (places.isNull(1)) {
        fTop.push_back(places.integer(0));
        continue;
      }
      elementOf(places.integer(1)).contents[places.integer(2)].push_back(places.integer(0));
    }
  }

  void readClass(const Class& type) {
    Statement rows = fDatabase.prepare("SELECT * FROM " + strata::quotedName(type.table));
    std::vector<std::int64_t> columns;
    for (const std::int64_t id : type.properties) {
      if (!fProperties[id].column.empty()) columns.push_back(id);
    }
    while (rows.step()) {
      Element& element = elementOf(rows.integer(0));
      int column = 0;
      for (const std::int64_t property : columns) {
        element.values[property] = valueOf(rows, ++column, fProperties[property].form);
      }
    }
  }

  void readCollection(const std::string& table) {
    std::unordered_map<const Class*, std::int64_t> propertyOf;
    for (const auto& [id, type] : fClasses) {
      for (const std::int64_t property : type.properties) {
        if (fProperties[property].table == table && fProperties[property].column.empty()) propertyOf[&type] = property;
      }
    }
    Statement rows = fDatabase.prepare("SELECT * FROM " + strata::quotedName(table) + " ORDER BY owner, position");
    while (rows.step()) {
      Element& element = elementOf(rows.integer(0));
      const auto found = propertyOf.find(element.type);
      if (found == propertyOf.end()) damaged("the table " + table + " names an element that has no such property");
      const Property& property = fProperties[found->second];
      RawValue& value = element.values[found->second];
      if (property.place == "map") {
        if (value.isNull()) value = RawValue::Map();
        value.map().emplace_back(utf8_to_ustring(rows.text(2)), utf8_to_ustring(rows.text(3)));
      } else {
        if (value.isNull()) value = RawValue::List();
        value.list().push_back(valueOf(rows, 2, property.form));
      }
    }
  }

  RawValue valueOf(const Statement& row, int column, const std::string& form) {
    if (row.isNull(column)) return {};
    if (form == "element") {
      const Element& target = elementOf(row.integer(column));
      return RawReference{target.type->name, target.uuid};
    }
    if (form == "boolean") return row.integer(column) != 0;
    if (form == "json") return data_text::readRaw(row.text(column));
    if (row.isInteger(column)) return RawNumber{std::to_string(row.integer(column))};
    if (row.isReal(column)) return RawNumber{textOfReal(row.real(column))};
    if (form == "number") return RawNumber{std::string(row.text(column))};
    if (form == "bytes") return data_text::textOfBytes(row.text(column));
    return utf8_to_ustring(row.text(column));
  }

  static std::string textOfReal(double number) {
    if (!std::isfinite(number)) return tarn::kern::io::nameOfSpecialReal(number);
    char text[tarn::kern::io::kLongestReal];
    return {text, tarn::kern::io::writeReal(text, number)};
  }

  RawElement tree(std::int64_t id) {
    Element& element = elementOf(id);
    RawElement raw;
    raw.typeName = element.type->name;
    raw.uuid = element.uuid;
    for (const std::int64_t property : element.type->properties) {
      if (const auto value = element.values.find(property); value != element.values.end()) {
        raw.properties.push_back({fProperties[property].name, std::move(value->second)});
      } else if (const auto contents = element.contents.find(property); contents != element.contents.end()) {
        const Property& place = fProperties[property];
        RawValue list = contentsOf(contents->second);
        raw.properties.push_back(
            {place.name, place.place == "content" ? std::move(list.list().front()) : std::move(list)});
      }
    }
    return raw;
  }

  RawValue contentsOf(const std::vector<std::int64_t>& members) {
    RawValue::List list;
    for (const std::int64_t member : members) {
      if (member == 0) {
        list.emplace_back();
      } else {
        list.emplace_back(bedrock::stack::callDeep([&] { return tree(member); }));
      }
    }
    return list;
  }

  Element& elementOf(std::int64_t id) {
    const auto found = fElements.find(id);
    if (found == fElements.end()) damaged("it refers to the id " + std::to_string(id) + ", which no element has");
    return found->second;
  }

  [[noreturn]] void damaged(const std::string& text) const {
    throw StoreError(StoreError::Kind::Damaged, fDatabase.path(), text + "; restore a backup");
  }

  strata::Database& fDatabase;
  std::map<std::int64_t, Class> fClasses;
  std::map<std::int64_t, Property> fProperties;
  std::vector<std::string> fCollectionTables;
  std::unordered_map<std::int64_t, Element> fElements;
  std::vector<std::int64_t> fTop;
};

tarn::kern::Model loadEvolved(strata::Database& database, const tarn::kern::evolution::Evolver& evolver) {
  std::vector<RawElement> roots = RawStoreReader(database).read();
  const tarn::kern::Model model = tarn::kern::Model::create(tarn::kern::ModelSpec());
  tarn::kern::Transaction change = model->beginTransaction(false);
  tarn::kern::io::ModelLoader loader(model, database.path());
  std::erase_if(roots, [&](RawElement& root) { return !evolver.evolve(root); });
  for (const RawElement& root : roots) loader.mention(root);  // so that they stand in the store in their order
  for (const RawElement& root : roots) loader.load(root);
  loader.finish();
  change.commit(boost::none);
  loader.destroyDangling();
  return model;
}

}  // namespace

void evolveStore(const std::string& path, const tarn::kern::evolution::Evolver& evolver) {
  tarn::kern::Model model;
  {
    strata::Database database(path, false);
    try {
      model = loadEvolved(database, evolver);
    } catch (const StoreError&) {
      throw;
    } catch (const tarn::kern::KernelError& error) {
      throw StoreError(StoreError::Kind::Stale, path,
                       std::string("was written with older versions of its packages, and its content cannot be "
                                   "brought up to date: ") +
                           error.what());
    }
  }
  StoreState state(model->core(), path, false);
  StoreWriter writer(state);
  writer.noteEverything();
  writer.write(StoreWriter::Store::Replaced);
}

}  // namespace strata_datasource
