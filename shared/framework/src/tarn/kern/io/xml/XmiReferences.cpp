#include "XmiReferences.h"

#include <algorithm>
#include <charconv>

#include <bedrock/except.h>
#include <bedrock/i18n.h>
#include <quillon/logging/Logger.h>
#include <tarn/kern/Collections.h>

#include "../PlainText.h"
#include "XmiDataValues.h"
#include "XmiDocuments.h"
#include "XmlValues.h"

namespace tarn::kern::io::xml {

namespace {

constexpr std::string_view kNilWord = "\x01";
constexpr std::string_view kUuidScheme = "urn:uuid:";

bool isBlank(char c) noexcept { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

std::string_view nextWord(std::string_view& words) noexcept {
  std::size_t begin = 0;
  while (begin < words.size() && isBlank(words[begin])) ++begin;
  std::size_t end = begin;
  while (end < words.size() && !isBlank(words[end])) ++end;
  const std::string_view word = words.substr(begin, end - begin);
  words.remove_prefix(end);
  return word;
}

std::optional<std::size_t> numberIn(std::string_view text) noexcept {
  return text.empty() ? std::nullopt : readInteger<std::uint64_t>(text);
}

/// The name of the class of a reference that spells it: "ecore:EClass" in "ecore:EClass other.ecore#//Name".
bool isTypeWord(std::string_view word, const XmiNamespaces& namespaces) {
  const std::size_t colon = word.find(':');
  if (colon == std::string_view::npos || word.find_first_of("#/") != std::string_view::npos) return false;
  return namespaces.wasDeclared(word.substr(0, colon));
}

}  // namespace

XmiReferences::XmiReferences(XmiContent& content, DocumentFinder findDocument)
    : fContent(content), fFindDocument(std::move(findDocument)) {}

void XmiReferences::resolve() {
  // Each may read another document, which adds references and data values at the ends.
  std::size_t references = 0;
  std::size_t data = 0;
  while (references < fContent.references.size() || data < fContent.data.size()) {
    if (references < fContent.references.size()) {
      set(PendingReference(fContent.references[references++]));
    } else {
      setData(PendingData(fContent.data[data++]));
    }
  }
}

void XmiReferences::setData(const PendingData& data) {
  const auto find = [&](std::string_view names, std::uint64_t offset) {
    return targetsOf(data.document, names, offset, data.feature->name);
  };
  setDataValues(fContent, *data.element, *data.feature, data.drafts, find);
}

void XmiReferences::fail(std::uint32_t document, std::uint64_t offset, const std::string& problem) const {
  throw ParseError(fContent.documents[document].reader->placeOf(offset), problem);
}

void XmiReferences::set(const PendingReference& reference) {
  // A copy: reading another document may move the arena.
  fNames.assign(fContent.arena, reference.begin, reference.size);
  const std::string& names = fNames;
  const Feature& feature = *reference.feature;
  std::vector<ModelElement> targets = targetsOf(reference.document, names, reference.offset, feature.name);
  const ReflectionPrivateTag& access = ReflectionPrivateTag::PRIVILEGED_ACCESS;
  try {
    if (feature.isCollection) {
      const Value value = reference.element->getPropertyValue(feature.property, access);
      ElementCollection& collection = value.toElementCollection();
      // A contained element that stands in another document joins those that stand here.
      if (feature.isComposite) {
        for (const ModelElement& target : targets) collection.addElement(target);
      } else {
        collection.assign(targets);
      }
    } else if (targets.size() > 1) {
      fail(reference.document, reference.offset,
           "\"" + feature.name + "\" refers to one element, but several are named");
    } else if (!targets.empty()) {
      reference.element->set<ModelElement>(feature.property, std::move(targets.front()), access);
    }
  } catch (const ParseError&) {
    throw;
  } catch (const KernelError& error) {
    fail(reference.document, reference.offset, "\"" + feature.name + "\": " + error.what());
  } catch (const bedrock::except::IMsgIDException& error) {
    fail(reference.document, reference.offset,
         "\"" + feature.name + "\": " + quotedText(names) + " is no element of the type \"" +
             bedrock::i18n::to_string(feature.property->getType()->getQualifiedName()) + "\": " + error.what());
  }
}

std::vector<ModelElement> XmiReferences::targetsOf(std::uint32_t document, std::string_view names, std::uint64_t offset,
                                                   const std::string& user) {
  std::vector<ModelElement> targets;
  while (true) {
    const std::string_view word = nextWord(names);
    if (word.empty()) return targets;
    if (word == kNilWord) {
      targets.emplace_back();
    } else if (!isTypeWord(word, fContent.documents[document].namespaces)) {
      if (std::optional<ModelElement> target = find(document, word, offset, user))
        targets.push_back(std::move(*target));
    }
  }
}

std::optional<ModelElement> XmiReferences::find(std::uint32_t document, std::string_view name, std::uint64_t offset,
                                                const std::string& user) {
  const auto warn = [&](const std::string& why) {
    quillon::logging::internal::Logger::logger(0).debug(false)
        << "Warning: " << fContent.documents[document].reader->placeOf(offset).text() << ": \"" << user
        << "\" refers to " << quotedText(name) << ", " << why << ": the reference is left out\n";
  };
  if (name.starts_with(kUuidScheme)) {
    const auto uuid = readUuid(name.substr(kUuidScheme.size()));
    if (!uuid) fail(document, offset, "\"" + user + "\" refers to " + quotedText(name) + ", which is no uuid");
    ModelElement target = fContent.model->findElement(*uuid, FindElementBehavior::Anywhere);
    if (target) return target;
    warn("an element that is not in the model");
    return std::nullopt;
  }
  const std::size_t hash = name.find('#');
  std::uint32_t home = document;
  std::string_view fragment = name;
  if (hash != std::string_view::npos) {
    fragment = name.substr(hash + 1);
    if (hash != 0) {
      const std::optional<std::uint32_t> found = fFindDocument(document, name.substr(0, hash));
      if (!found) {
        warn("but that document is not to be found");
        return std::nullopt;
      }
      home = *found;
    }
  }
  ModelElement::Impl* target = findInDocument(home, fragment);
  if (target == nullptr && home != document) {  // documents of different age are no fault of this one
    warn("but that document has no such element");
    return std::nullopt;
  }
  if (target == nullptr) {
    fail(document, offset, "\"" + user + "\" refers to " + quotedText(name) + ", but the document has no such element");
  }
  return ModelElement(target);
}

ModelElement::Impl* XmiReferences::findInDocument(std::uint32_t document, std::string_view fragment) {
  const XmiDocument& home = fContent.documents[document];
  if (fragment.starts_with('/')) return findByPath(document, fragment);
  if (!home.ids.empty() || !home.keys.empty()) {  // both are empty in documents that we wrote
    const std::string id(fragment);
    if (const auto at = home.ids.find(id); at != home.ids.end()) return at->second;
    if (const auto at = home.keys.find(id); at != home.keys.end()) return at->second;
  }
  if (const auto uuid = uuidInId(fragment)) {
    return fContent.model->findElement(*uuid, FindElementBehavior::Anywhere).get();
  }
  const std::string decoded = percentDecoded(fragment);
  return decoded == fragment ? nullptr : findInDocument(document, decoded);
}

// --- Paths.

ModelElement::Impl* XmiReferences::findByPath(std::uint32_t document, std::string_view path) {
  const std::vector<ModelElement::Impl*>& roots = fContent.documents[document].roots;
  path.remove_prefix(1);
  const std::size_t firstEnd = std::min(path.find('/'), path.size());
  const std::optional<std::size_t> root =
      firstEnd == 0 ? std::optional<std::size_t>(0) : numberIn(path.substr(0, firstEnd));
  ModelElement::Impl* at = nullptr;
  if (root) {
    if (*root >= roots.size()) return nullptr;
    at = roots[*root];
    path.remove_prefix(firstEnd);
  } else {
    // "/Name/...": some tools leave the root out.
    if (roots.empty()) return nullptr;
    at = roots.front();
    path = std::string_view(path.data() - 1, path.size() + 1);
  }
  while (at != nullptr && !path.empty()) {
    path.remove_prefix(1);  // the slash
    // A key in brackets or a source between percent signs may hold slashes.
    std::size_t end = std::min(path.find('/'), path.size());
    if (path.starts_with('%')) {
      end = path.find('%', 1);
      end = end == std::string_view::npos ? path.size() : end + 1;
    } else if (const std::size_t open = path.find('['); open < end) {
      const std::size_t close = path.find(']', open);
      end = close == std::string_view::npos ? path.size() : close + 1;
    }
    const std::string_view segment = path.substr(0, end);
    path.remove_prefix(end);
    if (!path.empty() && path.front() != '/') return nullptr;
    at = step(*at, segment);
  }
  return at;
}

ModelElement::Impl* XmiReferences::step(ModelElement::Impl& from, std::string_view segment) {
  if (segment.empty()) return nullptr;
  if (segment.front() == '@') return stepByFeature(from, segment.substr(1));
  if (segment.front() == '%' && segment.size() > 1 && segment.back() == '%') {
    return stepByName(from, "source", percentDecoded(segment.substr(1, segment.size() - 2)));
  }
  if (ModelElement::Impl* child = stepByName(from, "name", segment)) return child;
  return stepByName(from, "name", percentDecoded(segment));
}

std::vector<ModelElement::Impl*> XmiReferences::membersOf(ModelElement::Impl& owner, const Feature& feature) {
  std::vector<ModelElement::Impl*> members;
  if (!feature.isReference()) return members;
  if (!feature.isCollection) {
    if (ModelElement::Impl* member = owner.peekElement(feature.property)) members.push_back(member);
  } else {
    const auto all = owner.peekElements(feature.property);
    members.assign(all.begin(), all.end());
  }
  return members;
}

ModelElement::Impl* XmiReferences::stepByFeature(ModelElement::Impl& from, std::string_view segment) {
  const TypePlan& plan = fContent.plans.of(from.getMetaClass());
  if (const std::size_t open = segment.find('['); open != std::string_view::npos && segment.back() == ']') {
    const Feature* feature = plan.find(segment.substr(0, open));
    if (feature == nullptr) return nullptr;
    return stepByKeys(membersOf(from, *feature), segment.substr(open + 1, segment.size() - open - 2));
  }
  std::size_t position = 0;
  const Feature* feature = plan.find(segment);
  if (feature == nullptr) {  // names may hold dots: the last one separates the position
    const std::size_t dot = segment.rfind('.');
    if (dot == std::string_view::npos) return nullptr;
    const std::optional<std::size_t> number = numberIn(segment.substr(dot + 1));
    feature = plan.find(segment.substr(0, dot));
    if (feature == nullptr || !number) return nullptr;
    position = *number;
  }
  if (!feature->isReference()) return nullptr;
  if (!feature->isCollection) return position == 0 ? from.peekElement(feature->property) : nullptr;
  const auto all = from.peekElements(feature->property);
  return position < all.size() ? all[position] : nullptr;
}

ModelElement::Impl* XmiReferences::stepByKeys(const std::vector<ModelElement::Impl*>& candidates,
                                              std::string_view conditions) {
  std::vector<std::pair<std::string, std::string>> wanted;
  while (!conditions.empty()) {
    const std::size_t equals = conditions.find('=');
    if (equals == std::string_view::npos || equals + 2 > conditions.size()) return nullptr;
    const char quote = conditions[equals + 1];
    const std::size_t close = conditions.find(quote, equals + 2);
    if (close == std::string_view::npos) return nullptr;
    wanted.emplace_back(conditions.substr(0, equals),
                        percentDecoded(conditions.substr(equals + 2, close - equals - 2)));
    conditions.remove_prefix(close + 1);
    if (conditions.starts_with(',')) conditions.remove_prefix(1);
  }
  const auto fits = [&](ModelElement::Impl* candidate) {
    if (candidate == nullptr) return false;
    const TypePlan& plan = fContent.plans.of(candidate->getMetaClass());
    return std::all_of(wanted.begin(), wanted.end(), [&](const auto& condition) {
      const Feature* feature = plan.find(condition.first);
      if (feature == nullptr || feature->isCollection || feature->isReference()) return false;
      const Value value = candidate->getPropertyValue(feature->property, ReflectionPrivateTag::PRIVILEGED_ACCESS);
      try {
        return value == valueFromText(*feature, condition.second);
      } catch (const ValueTextError&) {
        return false;
      }
    });
  };
  const auto at = std::find_if(candidates.begin(), candidates.end(), fits);
  return at == candidates.end() ? nullptr : *at;
}

ModelElement::Impl* XmiReferences::stepByName(ModelElement::Impl& from, std::string_view property,
                                              std::string_view name) {
  const auto [at, isNew] = fNamed.try_emplace({&from, std::string(property)});
  if (isNew) {
    std::unordered_map<std::string, std::size_t> alike;
    for (const ModelElement& child : from.contents()) {
      const Feature* feature = fContent.plans.of(child->getMetaClass()).find(property);
      if (feature == nullptr || feature->storage != StorageType::String || feature->isCollection) continue;
      const ustring* text = child->peek<ustring>(feature->property);
      if (text == nullptr) continue;
      // Of several with one name, all but the first are told apart by a number.
      std::string key = bedrock::i18n::ustring_to_utf8(*text);
      const std::size_t before = alike[key]++;
      if (before != 0) key += "." + std::to_string(before);
      at->second.emplace(std::move(key), child.get());
    }
  }
  const auto child = at->second.find(std::string(name));
  return child == at->second.end() ? nullptr : child->second;
}

}  // namespace tarn::kern::io::xml
