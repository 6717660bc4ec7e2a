#pragma once

#include <string>

#include <tarn/kern/ModelElement.h>

#include "ElementRecord.h"

/// The words of the kernel's errors, in one place: what was expected, what was found, where, and what to do.
namespace tarn::kern::internal::texts {

[[nodiscard]] std::string className(const meta::Class& type);
[[nodiscard]] std::string propertyName(const meta::Property& property);

[[nodiscard]] std::string uuidTaken(const meta::Class& wanted, const ElementRecord& holder);
[[nodiscard]] std::string modelFull();
[[nodiscard]] std::string abstractClass(const meta::Class& type);
[[nodiscard]] std::string nullModel(const meta::Class& type);

[[nodiscard]] std::string nullProperty(const ModelElement::Impl& element);
[[nodiscard]] std::string foreignProperty(const ModelElement::Impl& element, const meta::Property& property);
[[nodiscard]] std::string unknownProperty(const ModelElement::Impl& element, std::u16string_view name);
[[nodiscard]] std::string guardedProperty(const ModelElement::Impl& element, const meta::Property& property);
[[nodiscard]] std::string readOnlyProperty(const ModelElement::Impl& element, const meta::Property& property);
[[nodiscard]] std::string metaElementHasNoProperties(const ModelElement::Impl& element);
[[nodiscard]] std::string metaElementIsFixed(const ModelElement::Impl& element);

[[nodiscard]] std::string destroyed(const ElementRecord& element);
[[nodiscard]] std::string otherModel(const ElementRecord& element, const SlotInfo& slot, const ElementRecord& target);
[[nodiscard]] std::string notInAModel(const ModelElement::Impl& target);
[[nodiscard]] std::string containmentCycle(const ElementRecord& parent, const SlotInfo& slot,
                                           const ElementRecord& child);

[[nodiscard]] std::string indexOutOfRange(const meta::Property& property, std::size_t index, std::size_t size);
[[nodiscard]] std::string snapshot(const meta::Property& property);

[[nodiscard]] std::string transactionEnded();
[[nodiscard]] std::string innerTransactionOpen();
[[nodiscard]] std::string transactionOpen(const char* wanted);
[[nodiscard]] std::string nothingTo(const char* wanted);

}  // namespace tarn::kern::internal::texts
