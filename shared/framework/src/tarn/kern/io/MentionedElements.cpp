#include "MentionedElements.h"

#include <algorithm>
#include <bit>
#include <string>

#include <boost/lexical_cast.hpp>
#include <boost/uuid/uuid_io.hpp>

#include <bedrock/i18n.h>
#include <quillon/logging/Logger.h>

#include "../ElementRecord.h"
#include "../ModelCore.h"
#include "../UuidIndex.h"

namespace tarn::kern::io {

using bedrock::i18n::to_string;
using bedrock::i18n::ustring_to_utf8;
using quillon::logging::internal::Logger;

namespace {

std::string uuidText(const boost::uuids::uuid& uuid) { return boost::lexical_cast<std::string>(uuid); }

[[noreturn, gnu::cold]] void failOtherClass(const meta::Class& wanted, const ModelElement::Impl& existing) {
  throw KernelError("Error: A reference to the " + ustring_to_utf8(wanted->getName()) + " element with UUID " +
                    uuidText(existing.getUuid()) + " was parsed but matches an existing " +
                    ustring_to_utf8(existing.getMetaClass()->getName()) + " element in the target model.");
}

[[noreturn, gnu::cold]] void failContentsTwice(const ModelElement::Impl& element) {
  throw KernelError("Error: A " + ustring_to_utf8(element.getMetaClass()->getName()) + " element with UUID " +
                    uuidText(element.getUuid()) + " already exists in the target model.");
}

// The texts below cost more than reading an element, and most often nobody listens.

void logExisting(const ModelElement::Impl& element) {
  auto line = Logger::logger(0).debug(false);
  if (!line) return;
  line << "Note: A reference to the already existing " << ustring_to_utf8(element.getMetaClass()->getName())
       << " element with UUID " << uuidText(element.getUuid()) << " was parsed.\n";
}

void logDangling(const ModelElement::Impl& element) {
  auto line = Logger::logger(0).debug(false);
  if (!line) return;
  line << "Warning: A dangling reference to the " << to_string(element.getMetaClass()->getName())
       << " element with UUID " << uuidText(element.getUuid()) << " was parsed.\n";
}

}  // namespace

MentionedElements::Entry::Entry(ModelElement::Impl* element, State state) noexcept
    : fUuid(element->getUuid()),
      fType(element->getMetaClass().get()),
      fTagged(reinterpret_cast<std::uintptr_t>(element) | static_cast<std::uintptr_t>(state)) {}

MentionedElements::MentionedElements(const Model& model, std::size_t expected)
    : fModel(model),
      fMayHoldSome(model->getElementCount() != 0 || model->getDataSource() != nullptr),
      fFirstPlace(model->core().table().size()) {
  constexpr std::size_t kFewest = 16;
  growTo(std::bit_ceil(std::max(kFewest, expected + expected / 2)));
}

ModelElement::Impl* MentionedElements::mention(const meta::Class& type, const boost::uuids::uuid& uuid) {
  return entryOf(type, uuid).element();
}

ModelElement::Impl* MentionedElements::define(const meta::Class& type, const boost::uuids::uuid& uuid) {
  Entry& entry = entryOf(type, uuid);
  if (entry.state() != State::Undefined) failContentsTwice(*entry.element());
  entry.setDefined();
  --fUndefined;
  return entry.element();
}

MentionedElements::Entry& MentionedElements::entryOf(const meta::Class& type, const boost::uuids::uuid& uuid) {
  Entry* entry = &place(uuid);
  if (!entry->isUsed()) {
    if ((fUsed + 1) * 4 > fEntries.size() * 3) {
      growTo(fEntries.size() * 2);
      entry = &place(uuid);
    }
    *entry = firstMention(type, uuid);
    ++fUsed;
  }
  if (entry->type() != type.get()) failOtherClass(type, *entry->element());
  return *entry;
}

std::size_t MentionedElements::homeOf(const boost::uuids::uuid& uuid) const noexcept {
  return internal::UuidIndex::hashOf(uuid) & (fEntries.size() - 1);
}

/// Where the uuid stands, or where it would.
MentionedElements::Entry& MentionedElements::place(const boost::uuids::uuid& uuid) noexcept {
  const std::size_t mask = fEntries.size() - 1;
  std::size_t at = homeOf(uuid);
  while (fEntries[at].isUsed() && fEntries[at].uuid() != uuid) at = (at + 1) & mask;
  return fEntries[at];
}

MentionedElements::Entry MentionedElements::firstMention(const meta::Class& type, const boost::uuids::uuid& uuid) {
  if (fMayHoldSome) {
    if (const ModelElement existing = fModel->findElement(uuid, FindElementBehavior::Anywhere)) {
      if (existing->getMetaClass() == type) logExisting(*existing);
      return {existing.get(), State::Existing};
    }
  }
  const ModelElement made = type->instantiate(fModel, uuid);
  ++fUndefined;
  return {made.get(), State::Undefined};
}

void MentionedElements::growTo(std::size_t size) {
  std::vector<Entry> old(size);
  old.swap(fEntries);
  for (const Entry& entry : old) {
    if (entry.isUsed()) place(entry.uuid()) = entry;
  }
}

void MentionedElements::finish() {
  if (fUndefined == 0) return;
  const std::vector<internal::ElementRecord*>& table = fModel->core().table();
  for (std::size_t i = fFirstPlace; i < table.size(); ++i) {
    if (table[i] == nullptr) continue;
    const Entry& entry = place(table[i]->getUuid());
    if (entry.isUsed() && entry.element() == table[i] && entry.state() == State::Undefined) {
      fDangling.emplace_back(table[i]);
    }
  }
}

void MentionedElements::destroyDangling() {
  for (const ModelElement& element : fDangling) {
    if (element->isDestroyed()) continue;
    logDangling(*element);
    element->destroy();
  }
  fDangling.clear();
}

}  // namespace tarn::kern::io
