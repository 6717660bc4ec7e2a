// (d) How the content of an element is laid out: the slots of the benchmark model, filled, measured and freed.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "Choices.h"
#include "CompactList.h"
#include "support/Measure.h"

namespace bench::spike {
namespace {

struct StdSlots {
  using Text = std::u16string;
  using ListedText = std::u16string;
  template <class T>
  using List = std::vector<T>;
};

template <class Memory>
struct CompactSlots {
  using Text = CompactList<char16_t, Memory>;
  using ListedText = Text;
  template <class T>
  using List = CompactList<T, Memory>;
};

/// Single texts are compact and come from the arena; lists are standard ones, whose storage can be handed out as it is.
struct MixedSlots {
  using Text = CompactList<char16_t, ArenaMemory>;
  using ListedText = std::u16string;
  template <class T>
  using List = std::vector<T>;
};

/// An element of the benchmark model; the header is what the kernel needs per element besides its slots.
template <class Slots>
struct Element {
  using Text = typename Slots::Text;
  const void* meta = nullptr;
  const void* model = nullptr;
  Element* container = nullptr;
  Uuid uuid{};
  std::int32_t count = 0;
  std::uint32_t state = 0;
  std::uint32_t index = 0;
  std::uint32_t backReferences = 0;

  Text name;
  Text documentation;
  bool hasDocumentation = false;
  bool abstract = false;
  bool hasModified = false;
  std::int32_t multiplicity = 0;
  std::int64_t revision = 0;
  double weight = 0;
  std::int64_t visibility = 0;
  std::int64_t modified = 0;
  typename Slots::template List<typename Slots::ListedText> tags;
  typename Slots::template List<std::int32_t> marks;
  Element* base = nullptr;
  typename Slots::template List<Element*> related;
  typename Slots::template List<Element*> children;
};

/// Where the elements themselves lie.
template <class E>
struct OneByOne {
  E* make() { return new E; }
  void destroy(E* element) { delete element; }
};

template <class E>
struct Slabs {
  static constexpr std::size_t kPerSlab = 512;
  std::vector<char*> slabs;
  std::size_t used = kPerSlab;
  std::vector<void*> spare;
  E* make() {
    if (!spare.empty()) {
      void* place = spare.back();
      spare.pop_back();
      return new (place) E;
    }
    if (used == kPerSlab) {
      slabs.push_back(static_cast<char*>(std::malloc(kPerSlab * sizeof(E))));
      used = 0;
    }
    return new (slabs.back() + sizeof(E) * used++) E;
  }
  void destroy(E* element) { element->~E(); }
  ~Slabs() {
    for (char* slab : slabs) std::free(slab);
  }
};

void setText(std::u16string& slot, const char16_t* from, std::size_t length) { slot.assign(from, length); }
template <class Memory>
void setText(CompactList<char16_t, Memory>& slot, const char16_t* from, std::size_t length) {
  slot.assign(from, from + length);
}
template <class T>
void setItems(std::vector<T>& slot, const T* from, std::size_t count) {
  slot.assign(from, from + count);
}
template <class T, class Memory>
void setItems(CompactList<T, Memory>& slot, const T* from, std::size_t count) {
  slot.assign(from, from + count);
}

/// The description as bytes without names: what is left of a load when the cost of the format is taken away.
class Encoder {
 public:
  void put(const void* from, std::size_t size) { fBytes.append(static_cast<const char*>(from), size); }
  template <class T>
  void put(T value) {
    put(&value, sizeof value);
  }
  void putText(const std::u16string& text) {
    put<std::uint64_t>(text.size());
    put(text.data(), text.size() * 2);
  }
  std::string finish() && { return std::move(fBytes); }

 private:
  std::string fBytes;
};

class Decoder {
 public:
  explicit Decoder(const std::string& bytes) : fAt(bytes.data()) {}
  template <class T>
  T get() {
    T value;
    std::memcpy(&value, fAt, sizeof value);
    fAt += sizeof value;
    return value;
  }
  /// The text is copied out first, since it may lie at an odd address.
  template <class Text>
  void getText(Text& slot) {
    fText.resize(get<std::uint64_t>());
    std::memcpy(fText.data(), fAt, fText.size() * 2);
    fAt += fText.size() * 2;
    setText(slot, fText.data(), fText.size());
  }

 private:
  const char* fAt;
  std::u16string fText;
};

std::string encode(const Description& description) {
  Encoder bytes;
  for (const Record& record : description) {
    bytes.put(record.parent);
    bytes.put(record.uuid);
    bytes.putText(record.name);
    bytes.put(record.hasDocumentation);
    bytes.putText(record.documentation);
    bytes.put(record.abstract);
    bytes.put(record.multiplicity);
    bytes.put(record.revision);
    bytes.put(record.weight);
    bytes.put(record.visibility);
    bytes.put(record.modified);
    bytes.put<std::uint64_t>(record.tags.size());
    for (const std::u16string& tag : record.tags) bytes.putText(tag);
    bytes.put<std::uint64_t>(record.marks.size());
    bytes.put(record.marks.data(), record.marks.size() * 4);
    bytes.put(record.base);
    bytes.put<std::uint64_t>(record.related.size());
    bytes.put(record.related.data(), record.related.size() * 4);
  }
  return std::move(bytes).finish();
}

template <class Slots, template <class> class Home>
struct SlotModel {
  using E = Element<Slots>;
  Home<E> home;
  std::vector<E*> all;

  void link(E& element, RecordIndex parent) {
    if (parent == kNoRecord) return;
    element.container = all[parent];
    all[parent]->children.push_back(&element);
  }
  void makeAll(std::size_t count) {
    all.reserve(count);
    for (std::size_t i = 0; i < count; ++i) all.push_back(home.make());
  }
  void build(const Description& description) {
    makeAll(description.size());
    for (std::size_t i = 0; i < description.size(); ++i) {
      const Record& record = description[i];
      E& element = *all[i];
      element.uuid = record.uuid;
      link(element, record.parent);
      setText(element.name, record.name.data(), record.name.size());
      element.hasDocumentation = record.hasDocumentation;
      setText(element.documentation, record.documentation.data(), record.documentation.size());
      element.abstract = record.abstract;
      element.multiplicity = record.multiplicity;
      element.revision = record.revision;
      element.weight = record.weight;
      element.visibility = static_cast<std::int64_t>(record.visibility);
      element.modified = record.modified;
      element.tags.reserve(record.tags.size());
      for (const std::u16string& tag : record.tags) {
        typename Slots::ListedText text;
        setText(text, tag.data(), tag.size());
        element.tags.push_back(std::move(text));
      }
      setItems(element.marks, record.marks.data(), record.marks.size());
      if (record.base != kNoRecord) element.base = all[record.base];
      element.related.reserve(record.related.size());
      for (const RecordIndex target : record.related) element.related.push_back(all[target]);
    }
  }
  void load(Decoder bytes, std::size_t count) {
    makeAll(count);
    std::vector<std::int32_t> marks;
    for (std::size_t i = 0; i < count; ++i) {
      E& element = *all[i];
      link(element, bytes.get<RecordIndex>());
      element.uuid = bytes.get<Uuid>();
      bytes.getText(element.name);
      element.hasDocumentation = bytes.get<bool>();
      bytes.getText(element.documentation);
      element.abstract = bytes.get<bool>();
      element.multiplicity = bytes.get<std::int32_t>();
      element.revision = bytes.get<std::int64_t>();
      element.weight = bytes.get<double>();
      element.visibility = static_cast<std::int64_t>(bytes.get<Visibility>());
      element.modified = bytes.get<Microseconds>();
      const auto tags = bytes.get<std::uint64_t>();
      element.tags.reserve(tags);
      for (std::uint64_t tag = 0; tag < tags; ++tag) {
        typename Slots::ListedText text;
        bytes.getText(text);
        element.tags.push_back(std::move(text));
      }
      marks.resize(bytes.get<std::uint64_t>());
      for (std::int32_t& mark : marks) mark = bytes.get<std::int32_t>();
      setItems(element.marks, marks.data(), marks.size());
      const auto base = bytes.get<RecordIndex>();
      if (base != kNoRecord) element.base = all[base];
      const auto related = bytes.get<std::uint64_t>();
      element.related.reserve(related);
      for (std::uint64_t k = 0; k < related; ++k) element.related.push_back(all[bytes.get<RecordIndex>()]);
    }
  }
  ~SlotModel() {
    for (E* element : all) home.destroy(element);
  }
};

template <class Slots, template <class> class Home, class Fill>
Figures fillSlots(std::size_t count, Fill fill) {
  Figures figures;
  const double before = allocatedBytes();
  auto model = std::make_unique<SlotModel<Slots, Home>>();
  figures.emplace_back("filled", nanosecondsPer(count, [&] { fill(*model); }));
  const double table = static_cast<double>(count * sizeof(void*));
  figures.emplace_back("bytes", (allocatedBytes() - before - table) / static_cast<double>(count));
  figures.emplace_back("destroyed", nanosecondsPer(count, [&] { model.reset(); }));
  return figures;
}

template <class Fill>
std::vector<Variant> slotVariants(Fill fill, std::size_t count) {
  using General = CompactSlots<GeneralMemory>;
  using Bump = CompactSlots<ArenaMemory>;
  return {{"std, element from malloc", [=] { return fillSlots<StdSlots, OneByOne>(count, fill); }},
          {"std, element from slabs", [=] { return fillSlots<StdSlots, Slabs>(count, fill); }},
          {"text in the arena, std lists, slabs", [=] { return fillSlots<MixedSlots, Slabs>(count, fill); }},
          {"compact, malloc, slabs", [=] { return fillSlots<General, Slabs>(count, fill); }},
          {"compact, arena, slabs", [=] { return fillSlots<Bump, Slabs>(count, fill); }}};
}

}  // namespace

std::vector<Variant> builtSlots(const Description& description) {
  return slotVariants([&description](auto& model) { model.build(description); }, description.size());
}

std::vector<Variant> loadedSlots(const Description& description) {
  const auto bytes = std::make_shared<const std::string>(encode(description));
  return slotVariants([bytes, count = description.size()](auto& model) { model.load(Decoder(*bytes), count); },
                      description.size());
}

}  // namespace bench::spike
