#include "StoreTrial.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <system_error>

#include <sqlite3.h>

#include <fcntl.h>
#include <strata/StoreError.h>
#include <sys/stat.h>
#include <tarn/kern/Collections.h>
#include <tarn/kern/ReflectiveDataType.h>
#include <tarn/kern/meta/PackageBuilder.h>
#include <tarn/kern/meta/StandardTypes.h>
#include <unistd.h>

#include "FuzzTarget.h"
#include "framework/strata_datasource/StoreTestSupport.h"

namespace fuzz::store {

namespace {

namespace kern = tarn::kern;
namespace meta = tarn::kern::meta;
using kern::Model;
using kern::ModelElement;
using kern::Value;
using meta::StandardTypes;

const kern::ReflectionPrivateTag& kPrivileged = kern::ReflectionPrivateTag::PRIVILEGED_ACCESS;

// --- The meta-model: each kind of table and of value once, since each further table costs every trial.

struct Types {
  meta::Class special;
  meta::Class node;
  meta::DataType place;
};

Types makeTypes() {
  meta::PackageBuilder package(u"stored");
  auto& color = package.addEnum(u"Color").literal(u"red", 0).literal(u"deep", -7);
  auto& place = package.addDataType(u"Place");
  place.attribute(u"x", StandardTypes::integerMeta).required();
  place.attribute(u"names", StandardTypes::stringMeta).many();
  place.attribute(u"home", u"Node");
  auto& special = package.addClass(u"Special");
  special.attribute(u"name", StandardTypes::stringMeta);
  special.reference(u"others", special).many();
  special.reference(u"friends", special).many().opposite(u"friendOf");
  special.reference(u"friendOf", special).many().opposite(u"friends");
  auto& node = package.addClass(u"Node").extends(special);
  node.attribute(u"bytes", StandardTypes::stdstringMeta);
  node.attribute(u"count", StandardTypes::integer8Meta).required().defaultsTo(std::int8_t{5});
  node.attribute(u"big", StandardTypes::uinteger64Meta);
  node.attribute(u"real", StandardTypes::realMeta);
  node.attribute(u"flag", StandardTypes::booleanMeta);
  node.attribute(u"when", StandardTypes::dateTimeMeta);
  node.attribute(u"code", StandardTypes::uuidMeta);
  node.attribute(u"color", color);
  node.attribute(u"place", place);
  node.attribute(u"fields", StandardTypes::stringToStringMapMeta);
  node.attribute(u"labels", StandardTypes::stringMeta).many().unique();
  node.composite(u"children", special).many();
  node.composite(u"only", node).opposite(u"onlyOf");
  node.reference(u"onlyOf", node).opposite(u"only");
  node.reference(u"next", node);
  node.reference(u"left", node).opposite(u"right");
  node.reference(u"right", node).opposite(u"left");
  package.registerPackage();
  const auto typeNamed = [](const char16_t* name) {
    return meta::MetaRegistry::getInstance()->getType(kern::ustring(u"stored.") + name);
  };
  return {kern::narrow<meta::Class>(typeNamed(u"Special")), kern::narrow<meta::Class>(typeNamed(u"Node")),
          kern::narrow<meta::DataType>(typeNamed(u"Place"))};
}

const Types& types() {
  static const Types kTypes = makeTypes();
  return kTypes;
}

meta::Property property(const char16_t* name) { return types().node->getProperty(name); }

void add(const ModelElement& element, const char16_t* collection, const ModelElement& member) {
  element->getPropertyValue(property(collection), kPrivileged).toElementCollection().addElement(member);
}

void fillValues(const ModelElement& element, std::int32_t number) {
  element->set(u"name", kern::ustring(static_cast<std::size_t>(number) % 30, u'n'));
  if (element->getMetaClass() != types().node) return;
  element->set(u"bytes", std::string("\xff\x00z", 3));
  element->set(u"big", std::uint64_t{1} << 63U);
  element->set(u"real", 0.5);
  element->set(u"flag", true);
  kern::ReflectiveDataType place(types().place);
  place.setPropertyValue(types().place->getProperty(u"x"), Value(number));
  place.setPropertyValue(types().place->getProperty(u"home"), Value(element));
  element->set(u"place", place);
  element->getPropertyValue(property(u"labels"), kPrivileged).toPrimitiveCollection().addValue(Value(u"label"));
}

void fill(const Model& model, bool withEmptyPlaces) {
  std::vector<ModelElement> nodes;
  for (std::int32_t i = 0; i < 5; ++i) {
    boost::uuids::uuid uuid{};
    uuid.data[15] = static_cast<std::uint8_t>(i + 1);
    nodes.push_back((i % 3 == 0 ? types().special : types().node)->instantiate(model, uuid));
    fillValues(nodes.back(), i);
  }
  // 0 and 3 are Special: they can be contained and referred to as such, and contain nothing.
  add(nodes[1], u"children", nodes[0]);
  if (withEmptyPlaces) add(nodes[1], u"children", ModelElement());
  add(nodes[1], u"children", nodes[2]);
  nodes[2]->set(u"only", nodes[4]);
  nodes[1]->set(u"next", nodes[4]);
  nodes[1]->set(u"left", nodes[2]);
  add(nodes[0], u"others", nodes[1]);
  add(nodes[0], u"others", nodes[3]);
  add(nodes[1], u"friends", nodes[0]);
  add(nodes[1], u"friends", nodes[1]);
}

// --- The file: one for the whole campaign, in memory where that is to be had.

class File {
 public:
  [[nodiscard]] const std::string& path() const noexcept { return fPath; }

  void write(const std::string& bytes) const {
    const int file = ::open(fPath.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    for (std::size_t done = 0; file >= 0 && done < bytes.size();) {
      const ssize_t more = ::write(file, bytes.data() + done, bytes.size() - done);
      if (more <= 0) break;
      done += static_cast<std::size_t>(more);
    }
    if (file < 0 || ::close(file) != 0) throw std::system_error(errno, std::generic_category(), fPath);
  }

  /// Also what SQLite may have left beside it.
  void remove() const {
    for (const std::string& name : fNames) ::unlink(name.c_str());
  }

 private:
  storetest::Folder fFolder;
  std::string fPath = fFolder / "model.db";
  std::array<std::string, 4> fNames = {fPath, fPath + "-journal", fPath + "-wal", fPath + "-shm"};
};

const File& file() {
  static const File kFile;
  return kFile;
}

// --- The trial.

void requireSoundTarget(const meta::Property& property, const ModelElement::Impl* target) {
  if (target == nullptr) return;
  require(target->getMetaClass()->conformsTo(property->getType()), "a reference holds what its type says");
}

/// Everything of one element: its values can be looked at, its references lead to elements of the right class.
void readElement(const ModelElement& element) {
  for (const meta::Property& property : element->getMetaClass()->getAllProperties()) {
    const Value value = element->getPropertyValue(property, kPrivileged);
    if (!property->isReference()) {
      static_cast<void>(value.hash());
    } else if (property->isCollection()) {
      for (const ModelElement::Impl* member : element->peekElements(property)) requireSoundTarget(property, member);
    } else {
      requireSoundTarget(property, element->peekElement(property));
    }
  }
}

void requireTree(const ModelElement& element, std::size_t elements) {
  for (ModelElement at = element; at; at = at->container()) {
    require(elements-- > 0, "nothing contains itself");
  }
}

void readAll(const Model& model) {
  const std::vector<ModelElement> all = model->getAllElements(kern::FindElementBehavior::Anywhere);
  static_cast<void>(model->getTopLevelElements());
  for (const ModelElement& element : all) readElement(element);
  for (const ModelElement& element : all) requireTree(element, all.size());
}

/// One commit that makes, moves, refers and destroys.
void change(const Model& model) {
  const std::vector<ModelElement> all = model->getAllElements(kern::FindElementBehavior::Anywhere);
  if (all.empty()) return;
  kern::Transaction transaction = model->beginTransaction(false);
  const ModelElement made = types().node->instantiate(model, boost::uuids::uuid{});
  fillValues(made, 3);
  const ModelElement& first = all.front();
  if (!first->container()) add(made, u"children", first);
  add(made, u"friends", first);
  add(first, u"others", made);
  all[all.size() / 2]->destroy();
  transaction.commit(boost::none);
}

bool isRead = false;

// --- SQLite's memory: kept by powers of two, and given back never. The sanitizer's own took a third of each trial, and
// SQLite is not what is tested here.

#if defined(__clang__)
#define UNWATCHED __attribute__((no_sanitize("address", "undefined", "coverage")))
#else
#define UNWATCHED
#endif

union Block {
  struct {
    Block* next;  // of the free ones
    unsigned power;
  } head;
  std::max_align_t forAlignment;
};

constexpr unsigned kPowers = 32;
Block* freeBlocks[kPowers] = {};  // NOLINT: each access of a checked array would be watched

UNWATCHED void* takeBlock(int bytes) {
  const auto power = static_cast<unsigned>(std::bit_width(static_cast<unsigned>(std::max(bytes, 16)) - 1));
  if (power >= kPowers) return nullptr;
  Block*& first = freeBlocks[power];
  if (first == nullptr) {
    first = static_cast<Block*>(std::malloc(sizeof(Block) + (std::size_t{1} << power)));
    if (first == nullptr) return nullptr;
    first->head = {nullptr, power};
  }
  Block* taken = first;
  first = taken->head.next;
  return taken + 1;
}

UNWATCHED void giveBlock(void* memory) {
  Block* block = static_cast<Block*>(memory) - 1;
  block->head.next = freeBlocks[block->head.power];
  freeBlocks[block->head.power] = block;
}

UNWATCHED int sizeOfBlock(void* memory) { return 1 << (static_cast<Block*>(memory) - 1)->head.power; }

UNWATCHED void* growBlock(void* memory, int bytes) {
  if (bytes <= sizeOfBlock(memory)) return memory;
  void* grown = takeBlock(bytes);
  if (grown == nullptr) return nullptr;
  std::memcpy(grown, memory, static_cast<std::size_t>(sizeOfBlock(memory)));
  giveBlock(memory);
  return grown;
}

const sqlite3_mem_methods kBlocks = {takeBlock,
                                     giveBlock,
                                     growBlock,
                                     sizeOfBlock,
                                     [](int bytes) { return (bytes + 7) & ~7; },
                                     [](void*) { return SQLITE_OK; },
                                     [](void*) {},
                                     nullptr};

}  // namespace

void prepare() {
  static const bool kPrepared = [] {
    return sqlite3_config(SQLITE_CONFIG_SINGLETHREAD) == SQLITE_OK &&
           sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0) == SQLITE_OK &&
           sqlite3_config(SQLITE_CONFIG_MALLOC, &kBlocks) == SQLITE_OK;
  }();
  require(kPrepared, "SQLite takes its settings before it is used");
}

std::string goodStore(unsigned variant) {
  prepare();
  file().remove();
  {
    const Model model = storetest::newModel();
    static_cast<void>(types());
    if (variant + 1 < kVariants) fill(model, variant == 1);
    storetest::bindTo(model, file().path());
  }
  storetest::sql(file().path(), "PRAGMA page_size=512; VACUUM");
  std::string bytes = storetest::bytesOf(file().path());
  file().remove();
  return bytes;
}

void tryStore(const std::string& bytes, bool withChanges) {
  prepare();
  static_cast<void>(types());
  isRead = false;
  file().write(bytes);
  try {
    const Model model = storetest::newModel();
    try {
      storetest::bindTo(model, file().path());
    } catch (const std::exception&) {
      require(model->getElementCount() == 0, "a refused store leaves nothing in the model");
      require(storetest::bytesOf(file().path()) == bytes, "a refused file is as it was");
      throw;
    }
    readAll(model);
    isRead = true;
    if (withChanges) {
      change(model);
      readAll(model);
    }
  } catch (const strata::StoreError&) {  // damaged, and said so
  } catch (const std::bad_alloc&) {  // what SQLite says of some damaged schemas; more than a little is not asked for
  }
  file().remove();
}

bool wasReadToTheEnd() noexcept { return isRead; }

}  // namespace fuzz::store
