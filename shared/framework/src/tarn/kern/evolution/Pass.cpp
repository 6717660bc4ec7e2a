#include "Pass.h"

#include <algorithm>
#include <memory>
#include <utility>

#include <boost/uuid/name_generator_sha1.hpp>
#include <boost/uuid/uuid_io.hpp>

#include <tarn/kern/evolution/Evolver.h>

#include "Conversion.h"

namespace tarn::kern::evolution::internal {

using RawKind = io::RawValue::Kind;

std::optional<ustring> NameChange::apply(const ustring& name) const {
  if (isPackage) {
    const bool isInside = name.size() > from.size() && name.starts_with(from) && name[from.size()] == u'.';
    return isInside ? to + name.substr(from.size()) : name;
  }
  if (name != from) return name;
  if (isRemoval) return std::nullopt;
  return to;
}

std::string placeOf(const Subject& subject, std::u16string_view property, const io::RawPosition& position) {
  std::string text = quoted(subject.typeName());
  if (subject.element != nullptr) text += " " + to_string(subject.element->uuid);
  if (!property.empty()) text += ", property " + quoted(property);
  const io::RawPosition& at = position.line != 0 ? position : subject.position;
  if (at.line != 0) text += ", line " + std::to_string(at.line) + ", column " + std::to_string(at.column);
  return text;
}

namespace {

using Properties = std::vector<io::RawProperty>;

Properties::iterator findIn(Properties& properties, const ustring& name) noexcept {
  return std::find_if(properties.begin(), properties.end(), [&](const io::RawProperty& p) { return p.name == name; });
}

void addTo(const Subject& subject, const ustring& name, io::RawValue value) {
  if (value.position.line == 0) value.position = subject.position;
  subject.properties().push_back({name, std::move(value)});
}

/// Calls `visit` with the value, or with each entry of a list.
template <class Visit>
void forEachSingle(io::RawValue& value, Visit visit) {
  if (value.kind() != RawKind::List) return visit(value);
  for (io::RawValue& entry : value.list()) visit(entry);
}

/// What the error of a running step says before and after its own words.
class Complaint {
 public:
  Complaint(const Era& era, const Step& step)
      : fBeginning("family " + quoted(era.chain->family) + ", from version " + quoted(era.stage->from) + " to " +
                   quoted(era.stage->to) + ", " + describe(step) + ": ") {}

  [[noreturn]] void raise(const Subject& subject, std::u16string_view property, const io::RawValue& value,
                          const std::string& what) const {
    const io::RawPosition& position = value.position.line != 0 ? value.position : subject.position;
    throw EvolutionError(fBeginning + placeOf(subject, property, value.position) + ": " + what, position);
  }

 private:
  std::string fBeginning;
};

constexpr const char* kRepairBefore = "; declare custom() before this step for such content";

/// Carries a value along a path through contained elements and data values.
class Mover {
 public:
  Mover(const MoveProperty& step, Complaint complaint, std::vector<KnownProperty> onTheWay)
      : fFrom(partsOf(step.from)),
        fTo(partsOf(step.to)),
        fComplaint(std::move(complaint)),
        fOnTheWay(std::move(onTheWay)) {}

  void operator()(const Subject& subject) const {
    std::optional<io::RawValue> value = take(subject);
    if (value) put(subject, std::move(*value));
  }

 private:
  std::optional<io::RawValue> take(const Subject& subject) const {
    Subject holder = subject;
    for (std::size_t i = 0; i + 1 < fFrom.size(); ++i) {
      const auto at = findIn(holder.properties(), fFrom[i]);
      if (at == holder.properties().end() || at->value.isNull()) return std::nullopt;
      const std::optional<Subject> next = enter(holder, *at);
      if (!next) return std::nullopt;
      holder = *next;
    }
    const auto at = findIn(holder.properties(), fFrom.back());
    if (at == holder.properties().end()) return std::nullopt;
    io::RawValue value = std::move(at->value);
    holder.properties().erase(at);
    return value;
  }

  void put(const Subject& subject, io::RawValue value) const {
    Subject holder = subject;
    for (std::size_t i = 0; i + 1 < fTo.size(); ++i) {
      auto at = findIn(holder.properties(), fTo[i]);
      if (at == holder.properties().end()) {
        holder.properties().push_back({fTo[i], io::RawValue()});
        at = std::prev(holder.properties().end());
      }
      const bool isMissing = at->value.isNull() || (at->value.kind() == RawKind::List && at->value.list().empty());
      if (isMissing) at->value = make(holder, i, value);
      holder = *enter(holder, *at);
    }
    const auto present = findIn(holder.properties(), fTo.back());
    if (present != holder.properties().end()) {
      fComplaint.raise(holder, fTo.back(), present->value, "there is a value already" + std::string(kRepairBefore));
    }
    addTo(holder, fTo.back(), std::move(value));
  }

  /// What stands in the property; nothing for an empty list.
  std::optional<Subject> enter(const Subject& holder, io::RawProperty& property) const {
    io::RawValue* value = &property.value;
    if (value->kind() == RawKind::List) {
      if (value->list().empty()) return std::nullopt;
      if (value->list().size() > 1) {
        fComplaint.raise(holder, property.name, *value, shown(*value) + ", so the way is not clear" + kRepairBefore);
      }
      value = &value->list().front();
    }
    if (value->kind() == RawKind::Element) return Subject{&value->element(), nullptr, value->element().position};
    if (value->kind() == RawKind::Data) return Subject{nullptr, &value->data(), value->position};
    fComplaint.raise(holder, property.name, *value, shown(*value) + " stands on the way" + kRepairBefore);
  }

  /// The uuid is derived, so that the same content gives the same elements each time it is read.
  io::RawValue make(const Subject& holder, std::size_t part, const io::RawValue& moved) const {
    const KnownProperty& property = fOnTheWay[part];
    if (property.type.empty()) {
      fComplaint.raise(holder, fTo[part], moved,
                       "nothing stands here, and the type to make is not known" + std::string(kRepairBefore));
    }
    io::RawValue made;
    if (property.isComposite) {
      if (holder.element == nullptr) {
        fComplaint.raise(holder, fTo[part], moved, "a value of a data type cannot contain an element");
      }
      io::RawElement element;
      element.typeName = property.type;
      element.uuid = boost::uuids::name_generator_sha1(holder.element->uuid)(bedrock::i18n::ustring_to_utf8(fTo[part]));
      element.position = holder.position;
      made = io::RawValue(std::move(element));
    } else {
      io::RawData data;
      data.typeName = property.type;
      made = io::RawValue(std::move(data));
    }
    made.position = holder.position;
    if (!property.isCollection) return made;
    io::RawValue::List list;
    list.push_back(std::move(made));
    return io::RawValue(std::move(list));
  }

  std::vector<ustring> fFrom;
  std::vector<ustring> fTo;
  Complaint fComplaint;
  std::vector<KnownProperty> fOnTheWay;  // the properties of fTo but the last
};

/// Compiles one step.
class Compiler {
 public:
  Compiler(const Step& step, const Era& era, const Moment& before)
      : fComplaint(era, step), fEra(era), fTypes(before.types), fPackage(before.package) {}

  CompiledStep operator()(const RenamePackage& step) const { return change({step.from, step.to, true, false}); }
  CompiledStep operator()(const RenameType& step) const { return change({name(step.from), name(step.to)}); }
  CompiledStep operator()(const MergeClass& step) const { return change({name(step.from), name(step.into)}); }
  CompiledStep operator()(const RemoveType& step) const { return change({name(step.name), {}, false, true}); }
  CompiledStep operator()(const ChangeSuperclass&) const { return {}; }

  CompiledStep operator()(const RenameProperty& step) const {
    return onSubtypesOf(step.type, [step, complaint = fComplaint](const Subject& subject) {
      Properties& properties = subject.properties();
      const auto at = findIn(properties, step.from);
      if (at == properties.end()) return;
      if (const auto other = findIn(properties, step.to); other != properties.end()) {
        complaint.raise(subject, step.from, at->value,
                        "there is a property " + quoted(step.to) + " already" + kRepairBefore);
      }
      at->name = step.to;
    });
  }

  CompiledStep operator()(const RemoveProperty& step) const {
    return onSubtypesOf(step.type, [name = step.name](const Subject& subject) {
      std::erase_if(subject.properties(), [&](const io::RawProperty& property) { return property.name == name; });
    });
  }

  CompiledStep operator()(const AddProperty& step) const {
    if (!step.value) return {};
    return addMissing(step.type, step.name, *step.value);
  }
  CompiledStep operator()(const NewDefault& step) const { return addMissing(step.type, step.name, step.oldDefault); }

  CompiledStep operator()(const ChangeType& step) const {
    // The literals of a type that is new at this moment may be told by the later version alone.
    const ustring to = name(step.to);
    const TypeTable& knowsTo = fTypes.find(to) != nullptr ? fTypes : *fEra.atEnd;
    return onValues(step.type, step.name,
                    [from = ContentType::of(name(step.from), fTypes), target = ContentType::of(to, knowsTo),
                     complaint = fComplaint](const Subject& subject, io::RawProperty& property) {
                      forEachSingle(property.value, [&](io::RawValue& value) {
                        const std::string wrong = convert(value, from, target);
                        if (!wrong.empty()) complaint.raise(subject, property.name, value, wrong + kRepairBefore);
                      });
                    });
  }

  CompiledStep operator()(const ToCollection& step) const {
    return onSubtypesOf(step.type, [name = step.name](const Subject& subject) {
      const auto at = findIn(subject.properties(), name);
      if (at == subject.properties().end() || at->value.kind() == RawKind::List) return;
      if (at->value.isNull()) {
        subject.properties().erase(at);
        return;
      }
      io::RawValue::List list;
      const io::RawPosition position = at->value.position;
      list.push_back(std::move(at->value));
      at->value = io::RawValue(std::move(list));
      at->value.position = position;
    });
  }

  CompiledStep operator()(const ToSingle& step) const {
    return onSubtypesOf(step.type, [step, complaint = fComplaint](const Subject& subject) {
      const auto at = findIn(subject.properties(), step.name);
      if (at == subject.properties().end() || at->value.kind() != RawKind::List) return;
      io::RawValue::List& list = at->value.list();
      if (list.empty()) {
        subject.properties().erase(at);
        return;
      }
      if (list.size() > 1 && step.surplus == Surplus::Refuse) {
        complaint.raise(subject, step.name, at->value,
                        shown(at->value) + ": one value has room; keep the first by Surplus::KeepFirst, or" +
                            std::string(kRepairBefore).substr(1));
      }
      io::RawValue first = std::move(list.front());
      at->value = std::move(first);
    });
  }

  CompiledStep operator()(const MoveProperty& step) const {
    std::vector<KnownProperty> onTheWay;
    ustring holder = name(step.type);
    const std::vector<ustring> to = partsOf(step.to);
    for (std::size_t i = 0; i + 1 < to.size(); ++i) {
      const KnownProperty* property = fTypes.findProperty(holder, to[i]);
      if (property == nullptr || property->type.empty()) property = fEra.atEnd->findProperty(holder, to[i]);
      onTheWay.push_back(property == nullptr ? KnownProperty() : *property);
      holder = onTheWay.back().type;
    }
    std::vector<ustring> made;
    for (const KnownProperty& property : onTheWay) made.push_back(property.type);
    CompiledStep compiled = onSubtypesOf(step.type, Mover(step, fComplaint, std::move(onTheWay)));
    compiled.made = std::move(made);
    compiled.reach = to.size() > partsOf(step.from).size() ? Reach::BottomUp : Reach::TopDown;
    return compiled;
  }

  CompiledStep operator()(const RenameLiteral& step) const { return replaceLiteral(step.type, step.from, step.to); }
  CompiledStep operator()(const RemoveLiteral& step) const {
    return replaceLiteral(step.type, step.literal, step.replacement);
  }

  CompiledStep operator()(const Custom& step) const {
    const EvolutionRegistry& registry = EvolutionRegistry::instance();
    Evolution::Function function = step.function ? step.function : registry.functionOf(step.functionName);
    Evolution::DataFunction onData = step.dataFunction ? step.dataFunction : registry.dataFunctionOf(step.functionName);
    CompiledStep compiled =
        onSubtypesOf(step.type, [=, name = step.functionName, complaint = fComplaint](const Subject& subject) {
          if (subject.element != nullptr && function) return function(*subject.element);
          if (subject.data != nullptr && onData) return onData(*subject.data);
          complaint.raise(subject, {}, {},
                          std::string("no function ") + quoted(name) + " for " +
                              (subject.element != nullptr ? "elements is known: call Evolution::nameFunction first"
                                                          : "values is known: call Evolution::nameDataFunction first"));
        });
    compiled.reach = Reach::TopDown;
    return compiled;
  }

 private:
  [[nodiscard]] ustring name(const ustring& declared) const { return qualified(declared, fPackage); }

  static CompiledStep change(NameChange change) {
    CompiledStep compiled;
    compiled.change = std::move(change);
    return compiled;
  }

  template <class Action>
  CompiledStep onSubtypesOf(const ustring& type, Action action) const {
    CompiledStep compiled;
    compiled.affected = fTypes.withSubtypes(name(type));
    compiled.action = std::move(action);
    return compiled;
  }

  template <class Action>
  CompiledStep onValues(const ustring& type, const ustring& property, Action action) const {
    return onSubtypesOf(type, [property, action = std::move(action)](const Subject& subject) {
      const auto at = findIn(subject.properties(), property);
      if (at != subject.properties().end()) action(subject, *at);
    });
  }

  CompiledStep addMissing(const ustring& type, const ustring& property, const io::RawValue& value) const {
    return onSubtypesOf(type, [property, value](const Subject& subject) {
      if (findIn(subject.properties(), property) == subject.properties().end()) addTo(subject, property, value);
    });
  }

  CompiledStep replaceLiteral(const ustring& type, const ustring& from, const ustring& to) const {
    const auto holders =
        std::make_shared<const std::unordered_map<ustring, std::vector<ustring>>>(fTypes.propertiesOfType(name(type)));
    CompiledStep compiled;
    for (const auto& [holder, properties] : *holders) compiled.affected.insert(holder);
    compiled.action = [holders, from, to](const Subject& subject) {
      for (const ustring& property : holders->at(subject.typeName())) {
        const auto at = findIn(subject.properties(), property);
        if (at == subject.properties().end()) continue;
        forEachSingle(at->value, [&](io::RawValue& value) {
          if (value.kind() != RawKind::Text || value.text() != from) return;
          const io::RawPosition position = value.position;
          value = io::RawValue(to);
          value.position = position;
        });
      }
    };
    return compiled;
  }

  Complaint fComplaint;
  const Era& fEra;
  const TypeTable& fTypes;
  const ustring& fPackage;
};

}  // namespace

CompiledStep compile(const Step& step, const Era& era, const Moment& before) {
  return std::visit(Compiler(step, era, before), step);
}

const Pass::Course& Pass::courseOf(const ustring& typeName) {
  const auto known = fCourses.find(typeName);
  if (known != fCourses.end()) return known->second;
  Course course;
  course.finalName = typeName;
  for (const CompiledStep& step : fSteps) {
    const bool acts = step.action && step.affected.contains(*course.finalName);
    if (acts) course.steps.push_back(&step);
    if (!step.change) continue;
    std::optional<ustring> name = step.change->apply(*course.finalName);
    const bool isChange = name != course.finalName;
    course.finalName = std::move(name);
    if (!course.finalName) break;
    if (isChange) course.steps.push_back(&step);
  }
  return fCourses.emplace(typeName, std::move(course)).first->second;
}

void Pass::run(const Course& course, const Subject& subject) {
  for (const CompiledStep* step : course.steps) {
    if (step->change) {
      subject.typeName() = *step->change->apply(subject.typeName());
    } else {
      step->action(subject);
    }
  }
}

bool Pass::concerns(const std::unordered_set<ustring>& typeNames) {
  return std::any_of(typeNames.begin(), typeNames.end(), [this](const ustring& name) {
    const Course& course = courseOf(name);
    return !course.steps.empty() || course.finalName != name;
  });
}

void Pass::addMade(std::unordered_set<ustring>& typeNames) const {
  for (const CompiledStep& step : fSteps) typeNames.insert(step.made.begin(), step.made.end());
}

std::vector<Pass> passesOf(const History& history) {
  std::vector<Pass> passes;
  for (const Era& era : history.eras) {
    Moment moment = era.start;
    for (const Step& step : era.stage->steps) {
      CompiledStep compiled = compile(step, era, moment);
      redo(step, moment, *era.atEnd);
      const bool joinsTheLast = compiled.reach == Reach::Own && !passes.empty() && passes.back().reach() == Reach::Own;
      if (!joinsTheLast) passes.emplace_back(compiled.reach);
      passes.back().add(std::move(compiled));
    }
  }
  return passes;
}

}  // namespace tarn::kern::evolution::internal
