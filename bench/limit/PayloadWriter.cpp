#include <optional>
#include <vector>

#include "Payload.h"
#include "TimeText.h"

namespace bench::limit {
namespace {

/// The ids of one kind of thing that is named on the stream: positive with the name at first, negative from then on.
template <std::size_t kCount>
class Names {
 public:
  explicit Names(const std::array<std::u16string_view, kCount>& names) : fNames(names) {}

  void put(std::size_t index, ByteBuffer& out) {
    if (fIds[index] != 0) return out.put(-fIds[index]);
    fIds[index] = ++fLast;
    out.put(fLast);
    out.putText(fNames[index]);
  }

 private:
  const std::array<std::u16string_view, kCount>& fNames;
  std::array<std::int64_t, kCount> fIds{};
  std::int64_t fLast = 0;
};

class Writer {
 public:
  Writer(const Model& model, ByteBuffer& out) : fOut(out), fElementIds(model.items().size(), 0) {}

  void root(const Item& item) {
    fOut.put('m');
    contained(item);
  }

 private:
  /// Recursion follows the containment, which is a few levels deep in this model.
  void contained(const Item& item) {
    head(item, 'T');
    if (item.isFolder) children(static_cast<const Folder&>(item));
    ownValues(item);
    namedValues(item);
    fOut.put<std::int64_t>(0);
  }

  void head(const Item& item, char flag) {
    std::uint32_t& id = fElementIds[item.number];
    if (id != 0) {
      fOut.put(-static_cast<std::int64_t>(id));
    } else {
      id = ++fLastElementId;
      fOut.put(static_cast<std::int64_t>(id));
      fTypes.put(item.isFolder ? 1 : 0, fOut);
      fOut.put(item.uuid);
    }
    fOut.put(flag);
  }

  void children(const Folder& folder) {
    many(Property::kChildren, 'm', folder.children.size());
    for (const Item* child : folder.children) contained(*child);
  }

  void ownValues(const Item& item) {
    if (item.abstract) single(Property::kAbstract, 'b', 'T');
    property(Property::kBase);
    fOut.put('m');
    reference(item.base);
    many(Property::kMarks, 'i', item.marks.size());
    fOut.putBytes(item.marks.data(), item.marks.size() * sizeof(std::int32_t));
    modified(item.modified);
    if (item.multiplicity != 1) single(Property::kMultiplicity, 'i', item.multiplicity);
    many(Property::kRelated, 'm', item.related.size());
    for (const Item* target : item.related) reference(target);
    single(Property::kRevision, 'l', item.revision);
    many(Property::kTags, 'S', item.tags.size());
    for (const std::u16string& tag : item.tags) fOut.putText(tag);
    property(Property::kVisibility);
    fOut.put('e');
    fLiterals.put(static_cast<std::size_t>(item.visibility), fOut);
    single(Property::kWeight, 'd', item.weight);
  }

  void namedValues(const Item& item) {
    property(Property::kDocumentation);
    if (item.documentation) {
      fOut.put('S');
      fOut.putText(*item.documentation);
    } else {
      fOut.put('n');
    }
    property(Property::kName);
    fOut.put('S');
    fOut.putText(item.name);
  }

  void modified(Microseconds time) {
    property(Property::kModified);
    if (time == kNoTime) return fOut.put('n');
    const TimeText text = toText(time);
    fOut.put('D');
    fOut.putText(std::u16string_view(text.data(), text.size()));
  }

  void property(Property which) { fProperties.put(static_cast<std::size_t>(which), fOut); }

  template <class T>
  void single(Property which, char tag, T value) {
    property(which);
    fOut.put(tag);
    fOut.put(value);
  }

  void many(Property which, char tag, std::size_t count) {
    property(which);
    fOut.put('[');
    fOut.put(tag);
    fOut.put<std::uint64_t>(count);
  }

  void reference(const Item* target) {
    if (target == nullptr) return fOut.put<std::int64_t>(0);
    head(*target, 'F');
  }

  ByteBuffer& fOut;
  std::vector<std::uint32_t> fElementIds;  ///< by the item's number; 0: not yet on the stream
  std::uint32_t fLastElementId = 0;
  Names<2> fTypes{kTypeNames};
  Names<kPropertyCount> fProperties{kPropertyNames};
  Names<4> fLiterals{kLiteralNames};
};

}  // namespace

void writePayload(const Model& model, ByteBuffer& bytes) {
  if (model.root() == nullptr) {
    bytes.put<std::uint64_t>(0);
  } else {
    bytes.put<std::uint64_t>(1);
    bytes.putText(kPackageUri);
    Writer(model, bytes).root(*model.root());
  }
  bytes.put('n');
}

}  // namespace bench::limit
