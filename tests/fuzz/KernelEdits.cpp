// A program of edits, transactions, undo and redo on one small model. Whatever it does: a level that is rolled back
// leaves everything as it was, undo and redo lead through the same states, containment and opposites stay in step.

#include <algorithm>
#include <exception>
#include <random>
#include <utility>

#include <tarn/kern/Collections.h>
#include <tarn/kern/Errors.h>
#include <tarn/kern/Model.h>
#include <tarn/kern/ReflectiveDataType.h>

#include "FuzzTarget.h"
#include "framework/tarn/kern/KernelTestModel.h"

namespace {

using namespace kerneltest;  // NOLINT: the vocabulary of the kernel's tests
using namespace tarn::kern;  // NOLINT

/// All that can be seen of a model. Elements are compared by address: one that is revived is the same one.
using State = std::vector<std::size_t>;

void addState(const ModelElement& element, const meta::Property& property, State& state) {
  if (!property->isReference()) {
    state.push_back(element->getPropertyValue(property, ReflectionPrivateTag::PRIVILEGED_ACCESS).hash());
  } else if (property->isCollection()) {
    for (const ModelElement::Impl* member : element->peekElements(property)) state.push_back(hashOfAddress(member));
    state.push_back(0);
  } else {
    state.push_back(hashOfAddress(element->peekElement(property)));
  }
}

State stateOf(const Model& model) {
  State state;
  for (const ModelElement& element : model->getTopLevelElements()) state.push_back(hashOfAddress(element.get()));
  for (const ModelElement& element : model->getAllElements(FindElementBehavior::Anywhere)) {
    state.push_back(hashOfAddress(element.get()));
    state.push_back(hashOfAddress(element->container().get()));
    for (const meta::Property& property : element->getMetaClass()->getAllProperties()) {
      addState(element, property, state);
    }
  }
  return state;
}

class Interpreter {
 public:
  /// The last look takes longer than the rest, so that only one in eight programs gets it.
  Interpreter(const std::uint8_t* data, std::size_t size) : fDecisions(data, size), fLooksAtTheEnd(size % 8 == 0) {}

  void run() {
    fModel->setUndoLimit(fDecisions.below(8));
    while (!fDecisions.atEnd()) {
      try {
        step();
      } catch (const std::exception&) {  // refused, and nothing may have changed: the states will tell
      }
    }
    while (!fLevels.empty()) rollBack();
    if (!fLooksAtTheEnd) return;
    const std::string faults = inconsistencies(fModel);
    if (!faults.empty()) std::fprintf(stderr, "%s", faults.c_str());
    fuzz::require(faults.empty(), "containment, opposites and uniqueness hold");
  }

 private:
  struct Level {
    Transaction transaction;
    State before;
  };

  void step() {
    switch (fDecisions.below(16)) {
      case 0:
        if (fLevels.size() < 4) fLevels.push_back({fModel->beginTransaction(false), stateOf(fModel)});
        return;
      case 1:
        if (!fLevels.empty()) rollBack();
        return;
      case 2:
        if (!fLevels.empty()) commit();
        return;
      case 3:
        return travel(false);
      case 4:
        return travel(true);
      default:
        editWithin();
        return;
    }
  }

  void rollBack() {
    fLevels.back().transaction.rollBack();
    fuzz::require(stateOf(fModel) == fLevels.back().before, "a level that is rolled back leaves no trace");
    fLevels.pop_back();
  }

  void commit() {
    const TransactionResult result = fLevels.back().transaction.commit(boost::none);
    State before = std::move(fLevels.back().before);
    fLevels.pop_back();
    if (!fLevels.empty() || result == TransactionResult::Nothing) return;
    if (fHistory.empty()) fHistory.push_back(std::move(before));
    fHistory.resize(fNow + 1);
    fHistory.push_back(stateOf(fModel));
    ++fNow;
  }

  /// Edits outside a level are transactions of their own. Which of the calls of an edit were changes is not known here,
  /// so the history begins anew.
  void editWithin() {
    const bool looksClosely = fLevels.empty() && fDecisions.chance(8);
    const State before = looksClosely ? stateOf(fModel) : State();
    if (fLevels.empty()) restartHistory();
    try {
      edit();
    } catch (...) {
      if (looksClosely) fuzz::require(stateOf(fModel) == before, "a refused change changes nothing");
      throw;
    }
  }

  void restartHistory() {
    fHistory.clear();
    fNow = 0;
  }

  void travel(bool forward) {
    if (!fLevels.empty()) return;
    if (forward ? !fModel->canRedo() : !fModel->canUndo()) return;
    forward ? fModel->redo() : fModel->undo();
    if (forward ? fNow + 1 >= fHistory.size() : fNow == 0) return restartHistory();  // before what is known
    forward ? ++fNow : --fNow;
    fuzz::require(stateOf(fModel) == fHistory[fNow], "undo and redo lead through the same states");
  }

  void edit() {
    const std::vector<ModelElement> all = fModel->getAllElements(FindElementBehavior::Anywhere);
    if (all.size() < 2 || (all.size() < 8 && fDecisions.chance(6))) {
      const meta::Class& type = fDecisions.chance(4) ? types().special : types().node;
      static_cast<void>(type->instantiate(fModel, nextUuid()));
      return;
    }
    const ModelElement& a = all[fDecisions.below(all.size())];
    const ModelElement& b = all[fDecisions.below(all.size())];
    switch (fDecisions.below(9)) {
      case 0:
        a->destroy();
        return;
      case 1:
        return editSingle(a);
      case 2:
        return editPlace(a);
      case 3:
        return editValues(a);
      case 4:
        return editMap(a);
      case 5:
        return assignSome(a, all);
      case 6: {
        static const char16_t* const kSingle[] = {u"only", u"parent", u"onlyOf", u"next", u"left", u"right", u"owner"};
        return set(a, kSingle[fDecisions.below(7)], fDecisions.chance(4) ? ModelElement() : b);
      }
      default:
        return editElements(a, b);
    }
  }

  void editSingle(const ModelElement& a) {
    static const char16_t* const kNames[] = {u"name", u"note", u"count", u"big", u"flag", u"color"};
    const meta::Property chosen = property(kNames[fDecisions.below(6)]);
    if (fDecisions.chance(3)) return a->unset(chosen);
    switch (fDecisions.below(4)) {
      case 0:
        return a->set(chosen, ustring(fDecisions.below(20), u'n'));
      case 1:
        return a->set(chosen, static_cast<std::int32_t>(fDecisions.below(9)));
      case 2:
        return a->set(chosen, static_cast<std::int64_t>(fDecisions.below(3)));
      default:
        return a->set(chosen, fDecisions.chance(2));
    }
  }

  void editPlace(const ModelElement& a) {
    ReflectiveDataType place(types().place);
    const std::vector<meta::Property>& attributes = types().place->getAllProperties();
    const meta::Property& attribute = attributes[fDecisions.below(attributes.size())];
    if (!attribute->isCollection() && attribute->getType() == meta::StandardTypes::integerMeta) {
      place.setPropertyValue(attribute, Value(static_cast<std::int32_t>(fDecisions.below(5))));
    }
    if (fDecisions.chance(2)) return a->set(property(u"place"), place);
    live(a, u"places").toPrimitiveCollection().addValue(Value(place));
  }

  void editValues(const ModelElement& a) {
    const bool isText = fDecisions.chance(2);
    const Value value = live(a, isText ? u"labels" : u"numbers");
    PrimitiveCollection& values = value.toPrimitiveCollection();
    const auto number = static_cast<std::int32_t>(fDecisions.below(6));
    const Value entry = isText ? Value(ustring(static_cast<std::size_t>(number), u'l')) : Value(number);
    if (values.empty()) return values.addValue(entry);
    switch (fDecisions.below(8)) {
      case 0:
        return values.insertValue(fDecisions.below(values.size() + 1), entry);
      case 1:
        return values.setValue(fDecisions.below(values.size()), entry);
      case 2:
        return values.removeAt(fDecisions.below(values.size()));
      case 3:
        return values.move(fDecisions.below(values.size()), fDecisions.below(values.size()));
      case 4:
        return values.assignValues({entry, entry});
      case 5:
        return values.clear();
      case 6:  // long enough for the hash of a unique collection
        for (std::int32_t i = 0; i < 70; ++i) {
          values.addValue(isText ? Value(ustring(static_cast<std::size_t>(i + number), u'm')) : Value(i));
        }
        return;
      default:
        return values.addValue(entry);
    }
  }

  void editMap(const ModelElement& a) {
    const Value value = live(a, u"fields");
    StringToStringMap& map = value.toStringToStringMap();
    const ustring key(1, static_cast<char16_t>(u'a' + fDecisions.below(5)));
    switch (fDecisions.below(4)) {
      case 0:
        static_cast<void>(map.remove(key));
        return;
      case 1:
        return map.clear();
      default:
        map.insert(key, ustring(fDecisions.below(20), u'v'), CollisionResolution::Replace);
        return;
    }
  }

  [[nodiscard]] const char16_t* anyCollection() {
    static const char16_t* const kMany[] = {u"children", u"others", u"path", u"owned", u"friends", u"friendOf"};
    return kMany[fDecisions.below(6)];
  }

  void editElements(const ModelElement& a, const ModelElement& b) {
    const Value value = live(a, anyCollection());
    ElementCollection& members = value.toElementCollection();
    if (members.empty()) return members.addElement(b);
    switch (fDecisions.below(8)) {
      case 0:
        return members.insertElement(fDecisions.below(members.size() + 1), b);
      case 1:
        return members.removeAt(fDecisions.below(members.size()));
      case 2:
        static_cast<void>(members.remove(b));
        return;
      case 3:
        return members.move(fDecisions.below(members.size()), fDecisions.below(members.size()));
      case 4:
        return members.clear();
      case 5:  // long enough for holes; once is enough, as each state tells of all elements
        if (fModel->getElementCount() > 80) return members.addElement(b);
        for (int i = 0; i < 70; ++i)
          members.addElement(members.getProperty() == property(u"path") ? b : newNode(fModel));
        return;
      case 6:
        members.getElement(0)->destroy();
        return;
      default:
        return members.addElement(b);
    }
  }

  void assignSome(const ModelElement& a, const std::vector<ModelElement>& all) {
    std::vector<ModelElement> members;
    for (std::size_t i = fDecisions.below(6); i > 0; --i) members.push_back(all[fDecisions.below(all.size())]);
    live(a, anyCollection()).toElementCollection().assign(members);
  }

  [[nodiscard]] boost::uuids::uuid nextUuid() {
    boost::uuids::uuid uuid{};
    ++fMade;
    uuid.data[15] = static_cast<std::uint8_t>(fMade);
    uuid.data[14] = static_cast<std::uint8_t>(fMade >> 8U);
    uuid.data[0] = 1;
    return uuid;
  }

  fuzz::Decisions fDecisions;
  Model fModel = newModel();
  std::vector<Level> fLevels;
  std::vector<State> fHistory;  // as far as it is known; empty: not at all
  std::size_t fNow = 0;         // the present state's place in it
  bool fLooksAtTheEnd;
  unsigned fMade = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::size_t kLongEnough = 64;
  Interpreter(data, std::min(size, kLongEnough)).run();
  return 0;
}

std::vector<std::string> fuzz::seeds() {
  std::vector<std::string> all;
  for (unsigned seed = 1; seed <= 24; ++seed) {
    std::mt19937 random(seed);
    std::string program;
    for (unsigned i = 0; i < 16 + seed * 2; ++i) program.push_back(static_cast<char>(random()));
    all.push_back(std::move(program));
  }
  return all;
}
