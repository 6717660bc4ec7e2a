#include "StepRules.h"

#include <algorithm>
#include <utility>

#include "Conversion.h"

namespace tarn::kern::evolution::internal {

std::vector<ustring> partsOf(const ustring& path) {
  std::vector<ustring> parts;
  std::size_t begin = 0;
  while (true) {
    const std::size_t dot = path.find(u'.', begin);
    parts.push_back(path.substr(begin, dot == ustring::npos ? dot : dot - begin));
    if (dot == ustring::npos) return parts;
    begin = dot + 1;
  }
}

namespace {

const char* wordFor(TypeKind kind) noexcept {
  switch (kind) {
    case TypeKind::Class:
      return "class";
    case TypeKind::DataType:
      return "data type";
    case TypeKind::Enum:
      return "enum";
    case TypeKind::Primitive:
      break;
  }
  return "primitive type";
}

std::string noProperty(const TypeTable& types, const ustring& type, const ustring& name) {
  return quoted(type) + " has no property " + quoted(name) + " then" + types.suggestProperty(type, name);
}

std::string faultOfStep(const TypeTable& types, const ustring& owner, const KnownProperty& property,
                        const ustring& name, bool isLast) {
  if (isLast || property.type.empty()) return {};
  const KnownType* type = types.find(property.type);
  const bool isOnTheWay =
      type != nullptr && (type->kind == TypeKind::DataType || (type->kind == TypeKind::Class && property.isComposite));
  if (!isOnTheWay) return quoted(owner) + ", property " + quoted(name) + ": neither composite nor of a data type";
  if (property.isCollection)
    return quoted(owner) + ", property " + quoted(name) + ": a collection, so the way is not clear";
  return {};
}

}  // namespace

PathEnd followPath(const TypeTable& types, const ustring& type, const ustring& path) {
  PathEnd end;
  end.owner = type;
  const std::vector<ustring> parts = partsOf(path);
  for (std::size_t i = 0; i < parts.size(); ++i) {
    const bool isLast = i + 1 == parts.size();
    end.property = parts[i];
    if (isLast) return end;
    const KnownProperty* property = types.findProperty(end.owner, parts[i]);
    if (property == nullptr) {
      if (!types.isVague(end.owner)) end.fault = noProperty(types, end.owner, parts[i]);
      end.owner.clear();
      return end;
    }
    end.fault = faultOfStep(types, end.owner, *property, parts[i], isLast);
    if (!end.fault.empty()) return end;
    end.owner = property->type;
    if (end.owner.empty()) return end;
  }
  return end;
}

namespace {

/// Undoes one step. Every operation returns the fault.
class Undoing {
 public:
  explicit Undoing(Moment& moment) : fMoment(moment), fTypes(moment.types) {}

  std::string operator()(const RenamePackage& step) {
    if (fMoment.package != step.to) return "the package is named " + quoted(fMoment.package) + " then";
    fTypes.renamePackage(step.to, step.from);
    fMoment.package = step.from;
    return {};
  }

  std::string operator()(const RenameType& step) {
    const ustring from = name(step.from);
    const ustring to = name(step.to);
    if (std::string wrong = missing(step.to, step.kind); !wrong.empty()) return wrong;
    KnownType type = std::move(*fTypes.find(to));
    fTypes.erase(to);
    fTypes.set(from, std::move(type));
    fTypes.renameMentions(to, from);
    return {};
  }

  std::string operator()(const MergeClass& step) {
    std::string wrong = missing(step.into, TypeKind::Class);
    if (wrong.empty()) wrong = stillThere(step.from);
    if (const KnownType* into = fTypes.find(name(step.into))) fTypes.set(name(step.from), KnownType(*into));
    return wrong;
  }

  std::string operator()(const RemoveType& step) {
    std::string wrong = stillThere(step.name);
    if (wrong.empty()) {
      KnownType type;
      type.kind = step.kind;
      type.isVague = true;
      fTypes.set(name(step.name), std::move(type));
    }
    return wrong;
  }

  std::string operator()(const ChangeSuperclass& step) {
    if (std::string wrong = missing(step.type, TypeKind::Class); !wrong.empty()) return wrong;
    if (!step.from.empty()) {
      if (std::string wrong = missing(step.from, TypeKind::Class); !wrong.empty()) return wrong;
    }
    std::vector<ustring>& supertypes = fTypes.find(name(step.type))->supertypes;
    const auto at = std::find(supertypes.begin(), supertypes.end(), name(step.to));
    if (!step.to.empty() && at == supertypes.end()) {
      return quoted(name(step.type)) + " does not derive from " + quoted(name(step.to)) + " then";
    }
    if (!step.to.empty()) supertypes.erase(at);
    if (!step.from.empty()) supertypes.insert(supertypes.begin(), name(step.from));
    return {};
  }

  std::string operator()(const RenameProperty& step) {
    if (std::string wrong = missingProperty(step.type, step.to); !wrong.empty()) return wrong;
    KnownType& type = *fTypes.find(name(step.type));
    KnownProperty property = *fTypes.findProperty(name(step.type), step.to);
    type.properties.erase(step.to);  // when it is inherited, the class had one of its own before
    type.properties[step.from] = std::move(property);
    return {};
  }

  std::string operator()(const RemoveProperty& step) {
    if (std::string wrong = missingStructured(step.type); !wrong.empty()) return wrong;
    std::string wrong;
    if (fMoment.isExact) wrong = propertyStillThere(name(step.type), step.name);
    if (wrong.empty()) fTypes.find(name(step.type))->properties[step.name] = KnownProperty();
    return wrong;
  }

  std::string operator()(const AddProperty& step) {
    if (std::string wrong = missingProperty(step.type, step.name); !wrong.empty()) return wrong;
    const KnownProperty& property = *fTypes.findProperty(name(step.type), step.name);
    std::string wrong;
    if (step.value && property.isCollection) {
      wrong = "a collection takes no single value: leave it out, or declare custom()";
    } else if (step.value) {
      wrong = faultOfContent(*step.value, ContentType::of(property.type, fTypes));
    }
    fTypes.find(name(step.type))->properties.erase(step.name);
    return wrong;
  }

  std::string operator()(const ChangeType& step) {
    if (std::string wrong = missingProperty(step.type, step.name); !wrong.empty()) return wrong;
    KnownProperty& property = *fTypes.findProperty(name(step.type), step.name);
    const ustring from = name(step.from);
    const ustring to = name(step.to);
    std::string wrong;
    if (!property.type.empty() && property.type != to) {
      wrong = "its type is " + quoted(property.type) + " then, not " + quoted(to);
    } else {
      wrong = faultOfConversion(ContentType::of(from, fTypes), ContentType::of(to, fTypes));
    }
    property.type = from;
    return wrong;
  }

  std::string operator()(const ToCollection& step) { return changeBounds(step.type, step.name, true); }
  std::string operator()(const ToSingle& step) { return changeBounds(step.type, step.name, false); }

  std::string operator()(const MoveProperty& step) {
    if (std::string wrong = missingStructured(step.type); !wrong.empty()) return wrong;
    const PathEnd to = followPath(fTypes, name(step.type), step.to);
    const PathEnd from = followPath(fTypes, name(step.type), step.from);
    if (!to.fault.empty()) return to.fault;
    if (!from.fault.empty()) return from.fault;
    KnownProperty moved;
    if (!to.owner.empty()) {
      const KnownProperty* property = fTypes.findProperty(to.owner, to.property);
      if (property == nullptr && !fTypes.isVague(to.owner)) return noProperty(fTypes, to.owner, to.property);
      if (property != nullptr) moved = *property;
      if (KnownType* owner = fTypes.find(to.owner)) owner->properties.erase(to.property);
    }
    if (KnownType* owner = fTypes.find(from.owner)) owner->properties[from.property] = moved;
    return {};
  }

  std::string operator()(const NewDefault& step) {
    if (std::string wrong = missingProperty(step.type, step.name); !wrong.empty()) return wrong;
    const KnownProperty& property = *fTypes.findProperty(name(step.type), step.name);
    if (property.isCollection) return "a collection has no default";
    return faultOfContent(step.oldDefault, ContentType::of(property.type, fTypes));
  }

  std::string operator()(const RenameLiteral& step) {
    if (std::string wrong = missingLiteral(step.type, step.to); !wrong.empty()) return wrong;
    auto& literals = fTypes.find(name(step.type))->literals;
    const std::optional<std::int64_t> number = literals[step.to];
    literals.erase(step.to);
    literals[step.from] = number;
    return {};
  }

  std::string operator()(const RemoveLiteral& step) {
    if (std::string wrong = missingLiteral(step.type, step.replacement); !wrong.empty()) return wrong;
    auto& literals = fTypes.find(name(step.type))->literals;
    if (fMoment.isExact && literals.contains(step.literal)) {
      return "the enum still has the literal " + quoted(step.literal);
    }
    literals[step.literal] = std::nullopt;
    return {};
  }

  std::string operator()(const Custom& step) {
    if (!step.function && !step.dataFunction && step.functionName.empty()) return "no function is given";
    const KnownType* type = fTypes.find(name(step.type));
    if (!step.functionName.empty() && type != nullptr && type->kind == TypeKind::DataType) return {};
    return missing(step.type, step.dataFunction ? TypeKind::DataType : TypeKind::Class);
  }

 private:
  [[nodiscard]] ustring name(const ustring& declared) const { return qualified(declared, fMoment.package); }

  [[nodiscard]] std::string missing(const ustring& declared, TypeKind kind) const {
    const KnownType* type = fTypes.find(name(declared));
    if (type == nullptr) {
      return "there is no " + std::string(wordFor(kind)) + " " + quoted(name(declared)) + " then" +
             fTypes.suggestType(declared, fMoment.package, kind);
    }
    if (type->kind == kind) return {};
    return quoted(name(declared)) + " is no " + wordFor(kind) + " but " +
           (type->kind == TypeKind::Enum ? "an " : "a ") + wordFor(type->kind);
  }

  [[nodiscard]] std::string missingStructured(const ustring& declared) const {
    const KnownType* type = fTypes.find(name(declared));
    const bool isDataType = type != nullptr && type->kind == TypeKind::DataType;
    return missing(declared, isDataType ? TypeKind::DataType : TypeKind::Class);
  }

  /// A class of which not all is known is taken to have the property.
  [[nodiscard]] std::string missingProperty(const ustring& declared, const ustring& property) {
    if (std::string wrong = missingStructured(declared); !wrong.empty()) return wrong;
    if (fTypes.findProperty(name(declared), property) != nullptr) return {};
    if (fTypes.isVague(name(declared))) {
      fTypes.find(name(declared))->properties[property] = KnownProperty();
      return {};
    }
    return noProperty(fTypes, name(declared), property);
  }

  [[nodiscard]] std::string missingLiteral(const ustring& declared, const ustring& literal) const {
    if (std::string wrong = missing(declared, TypeKind::Enum); !wrong.empty()) return wrong;
    if (fTypes.find(name(declared))->literals.contains(literal)) return {};
    return quoted(name(declared)) + " has no literal " + quoted(literal) + " then" +
           fTypes.suggestLiteral(name(declared), literal);
  }

  [[nodiscard]] std::string stillThere(const ustring& declared) const {
    if (!fMoment.isExact || fTypes.find(name(declared)) == nullptr) return {};
    return quoted(name(declared)) + " is still there then";
  }

  /// Also in a subclass: the step would take its values too.
  [[nodiscard]] std::string propertyStillThere(const ustring& type, const ustring& property) const {
    if (fTypes.findProperty(type, property) != nullptr) {
      return quoted(type) + " still has the property " + quoted(property) + " then";
    }
    std::vector<ustring> holders;
    for (const ustring& subtype : fTypes.withSubtypes(type)) {
      const KnownType* known = fTypes.find(subtype);
      if (known != nullptr && known->properties.contains(property)) holders.push_back(subtype);
    }
    if (holders.empty()) return {};
    const ustring& first = *std::min_element(holders.begin(), holders.end());
    return quoted(first) + ", which derives from it, still has a property " + quoted(property) +
           " then: its values would be removed too";
  }

  std::string changeBounds(const ustring& type, const ustring& property, bool isCollectionThen) {
    if (std::string wrong = missingProperty(type, property); !wrong.empty()) return wrong;
    KnownProperty& known = *fTypes.findProperty(name(type), property);
    // A removed property came back without its type: nothing is known of its bounds.
    const bool isKnown = !known.type.empty();
    const bool isFault = isKnown && known.isCollection != isCollectionThen;
    known.isCollection = !isCollectionThen;
    if (!isFault) return {};
    return quoted(name(type)) + ", property " + quoted(property) +
           (isCollectionThen ? " is single-valued" : " is a collection") + " then";
  }

  Moment& fMoment;
  TypeTable& fTypes;
};

/// Redoes one step. What it names may be unknown: then there is nothing to do.
class Redoing {
 public:
  Redoing(Moment& moment, const TypeTable& atEnd) : fMoment(moment), fTypes(moment.types), fAtEnd(atEnd) {}

  void operator()(const RenamePackage& step) {
    fTypes.renamePackage(step.from, step.to);
    fMoment.package = step.to;
  }
  void operator()(const RenameType& step) {
    if (KnownType* type = fTypes.find(name(step.from))) {
      KnownType moved = std::move(*type);
      fTypes.erase(name(step.from));
      fTypes.set(name(step.to), std::move(moved));
    }
    fTypes.renameMentions(name(step.from), name(step.to));
  }
  void operator()(const MergeClass& step) {
    fTypes.erase(name(step.from));
    fTypes.renameMentions(name(step.from), name(step.into));
  }
  void operator()(const RemoveType& step) { fTypes.erase(name(step.name)); }
  void operator()(const ChangeSuperclass& step) {
    KnownType* type = fTypes.find(name(step.type));
    if (type == nullptr) return;
    std::erase(type->supertypes, name(step.from));
    if (!step.to.empty()) type->supertypes.insert(type->supertypes.begin(), name(step.to));
  }
  void operator()(const RenameProperty& step) {
    KnownType* type = fTypes.find(name(step.type));
    const KnownProperty* property = fTypes.findProperty(name(step.type), step.from);
    if (type == nullptr || property == nullptr) return;
    const KnownProperty renamed = *property;
    type->properties.erase(step.from);
    type->properties[step.to] = renamed;
  }
  void operator()(const RemoveProperty& step) { erase(name(step.type), step.name); }
  void operator()(const AddProperty& step) {
    KnownType* type = fTypes.find(name(step.type));
    if (type == nullptr || fTypes.findProperty(name(step.type), step.name) != nullptr) return;
    const KnownProperty* atEnd = fAtEnd.findProperty(name(step.type), step.name);
    type->properties[step.name] = atEnd == nullptr ? KnownProperty() : *atEnd;
  }
  void operator()(const ChangeType& step) {
    if (KnownProperty* property = fTypes.findProperty(name(step.type), step.name)) property->type = name(step.to);
  }
  void operator()(const ToCollection& step) { setBounds(step.type, step.name, true); }
  void operator()(const ToSingle& step) { setBounds(step.type, step.name, false); }
  void operator()(const MoveProperty& step) {
    const PathEnd from = followPath(fTypes, name(step.type), step.from);
    const PathEnd to = followPath(fTypes, name(step.type), step.to);
    KnownProperty moved;
    if (const KnownProperty* property = fTypes.findProperty(from.owner, from.property)) moved = *property;
    erase(from.owner, from.property);
    KnownType* owner = fTypes.find(to.owner);
    if (owner != nullptr && to.fault.empty()) owner->properties[to.property] = moved;
  }
  void operator()(const NewDefault&) {}
  void operator()(const RenameLiteral& step) {
    KnownType* type = fTypes.find(name(step.type));
    if (type == nullptr) return;
    const auto at = type->literals.find(step.from);
    if (at == type->literals.end()) return;
    const std::optional<std::int64_t> number = at->second;
    type->literals.erase(at);
    type->literals[step.to] = number;
  }
  void operator()(const RemoveLiteral& step) {
    if (KnownType* type = fTypes.find(name(step.type))) type->literals.erase(step.literal);
  }
  void operator()(const Custom&) {}

 private:
  [[nodiscard]] ustring name(const ustring& declared) const { return qualified(declared, fMoment.package); }
  void erase(const ustring& type, const ustring& property) {
    if (KnownType* known = fTypes.find(type)) known->properties.erase(property);
  }
  void setBounds(const ustring& type, const ustring& property, bool isCollection) {
    if (KnownProperty* known = fTypes.findProperty(name(type), property)) known->isCollection = isCollection;
  }

  Moment& fMoment;
  TypeTable& fTypes;
  const TypeTable& fAtEnd;
};

}  // namespace

std::string undo(const Step& step, Moment& moment) { return std::visit(Undoing(moment), step); }

void redo(const Step& step, Moment& moment, const TypeTable& atEnd) { std::visit(Redoing(moment, atEnd), step); }

}  // namespace tarn::kern::evolution::internal
