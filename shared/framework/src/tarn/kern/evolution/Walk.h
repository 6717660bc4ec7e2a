#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include <bedrock/deep_call.h>

#include "Pass.h"

namespace tarn::kern::evolution::internal {

/// Visits an element and everything inside it, to any depth.
///
/// A Visitor has
///     bool enter(const Subject&);                               // containers first; false: it goes, unseen inside
///     void leave(const Subject&);                               // what is inside first
///     void property(const Subject& holder, io::RawProperty&);   // before its values
///     bool reference(const Subject& holder, const io::RawProperty&, io::RawValue&);   // false: it goes
/// A single value that goes takes its property along, an entry its place in the list.
template <class Visitor>
class Walk {
 public:
  explicit Walk(Visitor& visitor) noexcept : fVisitor(visitor) {}

  /// @return false when the visitor refused the root.
  bool element(io::RawElement& root) { return subject(Subject{&root, nullptr, root.position}); }

 private:
  bool subject(const Subject& subject) {
    if (!fVisitor.enter(subject)) return false;
    std::vector<io::RawProperty>& properties = subject.properties();
    std::size_t kept = 0;
    for (std::size_t i = 0; i < properties.size(); ++i) {
      fVisitor.property(subject, properties[i]);
      if (!value(subject, properties[i], properties[i].value)) continue;
      if (kept != i) properties[kept] = std::move(properties[i]);
      ++kept;
    }
    properties.resize(kept);
    fVisitor.leave(subject);
    return true;
  }

  bool value(const Subject& holder, const io::RawProperty& property, io::RawValue& value) {
    using Kind = io::RawValue::Kind;
    switch (value.kind()) {
      case Kind::List:
        return list(holder, property, value.list());
      case Kind::Reference:
        return fVisitor.reference(holder, property, value);
      case Kind::Data:
        return bedrock::stack::callDeep([&] { return subject(Subject{nullptr, &value.data(), value.position}); });
      case Kind::Element:
        return bedrock::stack::callDeep([&] {
          return subject(Subject{&value.element(), nullptr, value.element().position});
        });
      default:
        return true;
    }
  }

  /// A list that lost all its entries stays, empty.
  bool list(const Subject& holder, const io::RawProperty& property, io::RawValue::List& entries) {
    std::size_t kept = 0;
    for (std::size_t i = 0; i < entries.size(); ++i) {
      if (!value(holder, property, entries[i])) continue;
      if (kept != i) entries[kept] = std::move(entries[i]);
      ++kept;
    }
    entries.resize(kept);
    return true;
  }

  Visitor& fVisitor;
};

}  // namespace tarn::kern::evolution::internal
