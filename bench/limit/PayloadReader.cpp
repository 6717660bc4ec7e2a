#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "Payload.h"
#include "TimeText.h"

namespace bench::limit {
namespace {

void require(bool condition, const char* what) {
  if (!condition) throw std::runtime_error(std::string("the stream is damaged: ") + what);
}

/// Every read is checked against the end.
class Input {
 public:
  explicit Input(std::string_view bytes) : fAt(bytes.data()), fEnd(bytes.data() + bytes.size()) {}

  const char* take(std::size_t size) {
    require(size <= static_cast<std::size_t>(fEnd - fAt), "it ends too early");
    return std::exchange(fAt, fAt + size);
  }

  template <class T>
  T get() {
    T value;
    std::memcpy(&value, take(sizeof value), sizeof value);
    return value;
  }

  /// A number of things of which each takes at least `leastSize` bytes, so that a wrong number cannot ask for much
  /// memory.
  std::size_t count(std::size_t leastSize) {
    const auto count = get<std::uint64_t>();
    require(count <= static_cast<std::size_t>(fEnd - fAt) / leastSize, "a count exceeds the stream");
    return static_cast<std::size_t>(count);
  }

  void text(std::u16string& target) {
    const std::size_t length = count(sizeof(char16_t));
    target.resize(length);
    std::memcpy(target.data(), take(length * sizeof(char16_t)), length * sizeof(char16_t));
  }

  void expect(char tag) { require(get<char>() == tag, "a tag is not the one of its property"); }

 private:
  const char* fAt;
  const char* fEnd;
};

/// The other side of the writer's names: what each id on the stream stands for.
template <std::size_t kCount>
class Names {
 public:
  explicit Names(const std::array<std::u16string_view, kCount>& names) : fNames(names) {}

  std::size_t get(std::int64_t id, Input& in) {
    if (id < 0) {
      const auto known = static_cast<std::uint64_t>(~id);
      require(known < fKnown, "an id has not been defined");
      return fIndices[known];
    }
    require(id == fKnown + 1 && fKnown < kCount, "an id is out of order");
    std::u16string name;
    in.text(name);
    const auto found = std::find(fNames.begin(), fNames.end(), name);
    require(found != fNames.end(), "a name is unknown");
    return fIndices[fKnown++] = static_cast<std::uint8_t>(found - fNames.begin());
  }

 private:
  const std::array<std::u16string_view, kCount>& fNames;
  std::array<std::uint8_t, kCount> fIndices{};
  std::uint8_t fKnown = 0;
};

class Reader {
 public:
  Reader(std::string_view bytes, Model& model) : fIn(bytes), fModel(model) {}

  void read() {
    const std::size_t uris = fIn.count(sizeof(std::uint64_t));
    std::u16string uri;
    for (std::size_t i = 0; i < uris; ++i) fIn.text(uri);
    for (char tag = fIn.get<char>(); tag != 'n'; tag = fIn.get<char>()) {
      require(tag == 'm', "a root has another tag");
      Item* root = element();
      require(root != nullptr && root->isFolder && fModel.root() == nullptr, "the root is not one folder");
      fModel.setRoot(static_cast<Folder*>(root));
    }
  }

 private:
  /// An element record, with its properties where they follow. Recursion follows the containment, as in the writer.
  Item* element() {
    const auto id = fIn.get<std::int64_t>();
    if (id == 0) return nullptr;
    Item* item = id < 0 ? known(id) : define(id);
    const char flag = fIn.get<char>();
    require(flag == 'T' || flag == 'F', "a flag is neither T nor F");
    if (flag == 'T') properties(*item);
    return item;
  }

  Item* known(std::int64_t id) const {
    const auto index = static_cast<std::uint64_t>(~id);
    require(index < fElements.size(), "an element id has not been defined");
    return fElements[index];
  }

  Item* define(std::int64_t id) {
    require(static_cast<std::uint64_t>(id) == fElements.size() + 1, "an element id is out of order");
    const bool folder = fTypes.get(fIn.get<std::int64_t>(), fIn) == 1;
    Item* item = fModel.make(fIn.get<Uuid>(), folder);
    require(item != nullptr, "two elements have one uuid");
    fElements.push_back(item);
    return item;
  }

  void properties(Item& item) {
    for (auto id = fIn.get<std::int64_t>(); id != 0; id = fIn.get<std::int64_t>()) {
      value(item, static_cast<Property>(fProperties.get(id, fIn)));
    }
  }

  void value(Item& item, Property property) {
    switch (property) {
      case Property::kChildren:
        return children(item);
      case Property::kAbstract:
        return boolean(item.abstract);
      case Property::kBase:
        fIn.expect('m');
        item.base = element();
        return;
      case Property::kMarks:
        return marks(item.marks);
      case Property::kModified:
        return modified(item.modified);
      case Property::kMultiplicity:
        return number('i', item.multiplicity);
      case Property::kRelated:
        return related(item.related);
      case Property::kRevision:
        return number('l', item.revision);
      case Property::kTags:
        return tags(item.tags);
      case Property::kVisibility:
        return visibility(item.visibility);
      case Property::kWeight:
        return number('d', item.weight);
      case Property::kDocumentation:
        return documentation(item.documentation);
      case Property::kName:
        fIn.expect('S');
        fIn.text(item.name);
        return;
    }
  }

  void children(Item& item) {
    require(item.isFolder, "an item has children");
    Folder& folder = static_cast<Folder&>(item);
    for (std::size_t left = many('m'); left > 0; --left) {
      Item* child = element();
      require(child != nullptr && child->parent == nullptr, "a child is missing or has another parent");
      child->parent = &folder;
      folder.children.push_back(child);
    }
  }

  void related(std::vector<Item*>& targets) {
    const std::size_t count = many('m');
    targets.reserve(count);
    for (std::size_t left = count; left > 0; --left) {
      Item* target = element();
      require(target != nullptr, "a reference among many is missing");
      if (std::find(targets.begin(), targets.end(), target) == targets.end()) targets.push_back(target);
    }
  }

  void marks(std::vector<std::int32_t>& values) {
    values.resize(many('i', sizeof(std::int32_t)));
    const std::size_t size = values.size() * sizeof(std::int32_t);
    const char* from = fIn.take(size);
    if (size != 0) std::memcpy(values.data(), from, size);
  }

  void tags(std::vector<std::u16string>& values) {
    values.resize(many('S'));
    for (std::u16string& value : values) fIn.text(value);
  }

  std::size_t many(char tag, std::size_t leastSize = sizeof(std::uint64_t)) {
    fIn.expect('[');
    fIn.expect(tag);
    return fIn.count(leastSize);
  }

  template <class T>
  void number(char tag, T& target) {
    fIn.expect(tag);
    target = fIn.get<T>();
  }

  void boolean(bool& target) {
    fIn.expect('b');
    const char letter = fIn.get<char>();
    require(letter == 'T' || letter == 'F', "a boolean is neither T nor F");
    target = letter == 'T';
  }

  void visibility(Visibility& target) {
    fIn.expect('e');
    target = static_cast<Visibility>(fLiterals.get(fIn.get<std::int64_t>(), fIn));
  }

  void modified(Microseconds& target) {
    const char tag = fIn.get<char>();
    if (tag == 'n') return;
    require(tag == 'D', "a time has another tag");
    fIn.text(fTime);
    target = fromText(fTime);
  }

  void documentation(std::optional<std::u16string>& target) {
    const char tag = fIn.get<char>();
    if (tag == 'n') return;
    require(tag == 'S', "a text has another tag");
    fIn.text(target.emplace());
  }

  Input fIn;
  Model& fModel;
  std::vector<Item*> fElements;
  std::u16string fTime;
  Names<2> fTypes{kTypeNames};
  Names<kPropertyCount> fProperties{kPropertyNames};
  Names<4> fLiterals{kLiteralNames};
};

}  // namespace

std::unique_ptr<Model> readPayload(std::string_view bytes) {
  auto model = std::make_unique<Model>();
  Reader(bytes, *model).read();
  return model;
}

}  // namespace bench::limit
