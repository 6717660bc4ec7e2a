#include "MentionedElements.h"

#include <string>

#include <boost/lexical_cast.hpp>
#include <boost/uuid/uuid_io.hpp>

#include <bedrock/i18n.h>
#include <quillon/logging/Logger.h>

#include "../ElementRecord.h"
#include "../ModelCore.h"

namespace tarn::kern::io {

using bedrock::i18n::to_string;
using bedrock::i18n::ustring_to_utf8;
using quillon::logging::internal::Logger;

namespace {

std::string uuidText(const boost::uuids::uuid& uuid) { return boost::lexical_cast<std::string>(uuid); }

std::uint32_t placeOf(const ModelElement::Impl& element) noexcept {
  return static_cast<const internal::ElementRecord&>(element).index;
}

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

MentionedElements::MentionedElements(const Model& model) : fModel(model), fFirstPlace(model->core().table().size()) {}

MentionedElements::State* MentionedElements::stateOf(const ModelElement::Impl& element) noexcept {
  const std::size_t place = placeOf(element);
  if (place < fFirstPlace || place - fFirstPlace >= fStates.size()) return nullptr;
  State& state = fStates[place - fFirstPlace];
  return state == State::Foreign ? nullptr : &state;
}

ModelElement::Impl* MentionedElements::mention(const meta::Class& type, const boost::uuids::uuid& uuid) {
  const ModelElement existing = fModel->findElement(uuid, FindElementBehavior::Anywhere);
  if (!existing) return make(type, uuid);
  if (existing->getMetaClass() != type) failOtherClass(type, *existing);
  if (stateOf(*existing) == nullptr) noteExisting(*existing);
  return existing.get();
}

ModelElement::Impl* MentionedElements::make(const meta::Class& type, const boost::uuids::uuid& uuid) {
  const ModelElement made = type->instantiate(fModel, uuid);
  fStates.resize(placeOf(*made) - fFirstPlace + 1, State::Foreign);
  fStates.back() = State::Undefined;
  return made.get();
}

void MentionedElements::noteExisting(const ModelElement::Impl& element) {
  if (fNoted.insert(&element).second) logExisting(element);
}

void MentionedElements::define(const ModelElement::Impl& element) {
  State* const state = stateOf(element);
  if (state == nullptr || *state == State::Defined) failContentsTwice(element);
  *state = State::Defined;
}

void MentionedElements::finish() {
  const std::vector<internal::ElementRecord*>& table = fModel->core().table();
  for (std::size_t i = 0; i < fStates.size(); ++i) {
    if (fStates[i] != State::Undefined) continue;
    if (internal::ElementRecord* const record = table[fFirstPlace + i]) fDangling.emplace_back(record);
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
