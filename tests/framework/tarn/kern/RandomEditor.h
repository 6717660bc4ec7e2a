#pragma once

#include <random>
#include <utility>
#include <vector>

#include <tarn/kern/Collections.h>
#include <tarn/kern/Errors.h>

#include "framework/tarn/kern/KernelTestModel.h"

namespace kerneltest {

/// Edits a model of nodes at random. Two editors with one seed make the same edits to two models that are equal, uuids
/// included.
class RandomEditor {
 public:
  RandomEditor(tarn::kern::Model model, unsigned seed) : fModel(std::move(model)), fRandom(seed) {}

  /// Goes on with another model that equals the one before.
  void continueOn(tarn::kern::Model model) { fModel = std::move(model); }

  void edit() {
    const std::vector<ModelElement> all = fModel->getAllElements(tarn::kern::FindElementBehavior::Anywhere);
    if (all.size() < 3 || (all.size() < 60 && chance(8))) {
      const ModelElement made = types().node->instantiate(fModel, nextUuid());
      made->set(u"name", u"made");
      return;
    }
    const ModelElement a = all[below(all.size())];
    const ModelElement b = all[below(all.size())];
    try {
      change(a, b);
    } catch (const tarn::kern::ContainmentError&) {  // a cycle was tried: refused, and nothing may have changed
    }
  }

  [[nodiscard]] std::size_t below(std::size_t end) { return fRandom() % end; }
  [[nodiscard]] bool chance(std::size_t oneIn) { return below(oneIn) == 0; }

 private:
  void change(const ModelElement& a, const ModelElement& b) {
    static const char16_t* const kSingle[] = {u"only", u"parent", u"onlyOf", u"next", u"left", u"right", u"owner"};
    static const char16_t* const kMany[] = {u"children", u"keyed",   u"others",  u"path",
                                            u"owned",    u"friends", u"friendOf"};
    switch (below(12)) {
      case 0:
        a->set(u"name", ustring(below(40), u'n'));
        return;
      case 1:
        chance(2) ? a->unset(property(u"note")) : a->set(u"note", u"note");
        return;
      case 2:
        editNumbers(a);
        return;
      case 3:
        editMap(a);
        return;
      case 4:
        set(a, kSingle[below(7)], chance(5) ? ModelElement() : b);
        return;
      case 5:
        if (chance(6)) a->destroy();
        return;
      case 6:
        assignSome(a, kMany[below(7)]);
        return;
      default:
        editElements(a, kMany[below(7)], b);
        return;
    }
  }

  void editNumbers(const ModelElement& a) {
    const Value value = live(a, u"numbers");
    tarn::kern::PrimitiveCollection& numbers = value.toPrimitiveCollection();
    const Value entry(static_cast<std::int32_t>(below(100)));
    if (numbers.empty() || chance(3)) return numbers.addValue(entry);
    switch (below(6)) {
      case 0:
        return numbers.insertValue(below(numbers.size() + 1), entry);
      case 1:
        return numbers.setValue(below(numbers.size()), entry);
      case 2:
        return numbers.removeAt(below(numbers.size()));
      case 3:
        return numbers.move(below(numbers.size()), below(numbers.size()));
      case 4:
        return numbers.assignValues({entry, entry});
      default:
        return numbers.clear();
    }
  }

  void editMap(const ModelElement& a) {
    const Value value = live(a, u"fields");
    tarn::kern::StringToStringMap& map = value.toStringToStringMap();
    const ustring key(1, static_cast<char16_t>(u'a' + below(26)));
    switch (below(5)) {
      case 0:
        static_cast<void>(map.remove(key));
        return;
      case 1:
        if (chance(5)) map.clear();
        return;
      default:
        map.insert(key, ustring(below(20), u'v'), tarn::kern::CollisionResolution::Replace);
        return;
    }
  }

  void editElements(const ModelElement& a, const char16_t* name, const ModelElement& b) {
    const Value value = live(a, name);
    tarn::kern::ElementCollection& members = value.toElementCollection();
    if (members.empty() || chance(2)) return members.addElement(b);
    switch (below(5)) {
      case 0:
        return members.insertElement(below(members.size() + 1), b);
      case 1:
        return members.removeAt(below(members.size()));
      case 2:
        static_cast<void>(members.remove(members.getElement(below(members.size()))));
        return;
      case 3:
        return members.move(below(members.size()), below(members.size()));
      default:
        if (chance(4)) members.clear();
        return;
    }
  }

  void assignSome(const ModelElement& a, const char16_t* name) {
    const std::vector<ModelElement> all = fModel->getAllElements(tarn::kern::FindElementBehavior::Anywhere);
    std::vector<ModelElement> members;
    for (std::size_t i = below(6); i-- > 0;) members.push_back(all[below(all.size())]);
    live(a, name).toElementCollection().assign(members);
  }

  [[nodiscard]] boost::uuids::uuid nextUuid() {
    boost::uuids::uuid uuid{};
    for (std::uint8_t& byte : uuid.data) byte = static_cast<std::uint8_t>(fRandom());
    return uuid;
  }

  tarn::kern::Model fModel;
  std::mt19937 fRandom;
};

}  // namespace kerneltest
