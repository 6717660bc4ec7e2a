#pragma once

#include <sstream>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include <bedrock/except.h>
#include <nimbo/messages.h>
#include <tarn/kern/Model.h>

#include "Saving.h"
#include "TestMetaModel.h"
#include "quillon/nimbo/BinParser.h"

namespace testsupport {

/// Reads a container into a model.
inline void loadInto(const tarn::kern::Model& model, const std::string& container) {
  quillon::nimbo::BinParser parser;
  parser.setModel(model);
  parser.parse(container);
}

/// A new model with the content of a container.
inline tarn::kern::Model loaded(const std::string& container) {
  quillon::nimbo::BinParser parser;
  parser.parse(container);
  return parser.getModel();
}

/// The element with that last byte in its uuid, or null.
inline tarn::kern::ModelElement elementOf(const tarn::kern::Model& model, std::uint8_t lastOfUuid) {
  return model->findElement(uuidEndingIn(lastOfUuid), tarn::kern::FindElementBehavior::Anywhere);
}

/// A failed check of the reader names its line, which tests do not fix: the text with "#" in place of the digits.
inline std::string withoutReaderLine(const std::string& message) {
  const std::string source = "shared/nimbo_utils/src/BinParser:";
  if (message.rfind(source, 0) != 0) return message;
  const std::size_t behind = message.find_first_not_of("0123456789", source.size());
  return behind == source.size() ? message : source + "#" + message.substr(behind);
}

/// The text of a failed check of the reader.
inline std::string failedCheck(const std::string& expression) {
  return "shared/nimbo_utils/src/BinParser:#: Assertion failed during binary parsing: `" + expression + "'";
}

/// The text of the BinSerializationException that reading the container ends in. The model must be as it was: empty.
inline std::string failureOfLoading(const std::string& container) {
  const tarn::kern::Model model = emptyModel();
  const std::string message = messageOfFailure([&] { loadInto(model, container); });
  EXPECT_EQ(model->getElementCount(), 0U) << "a failed reading left something behind";
  EXPECT_EQ(model->getTransactionDepth(), 0U) << "a failed reading left its transaction open";
  return withoutReaderLine(message);
}

/// The type that the cast failure names in which reading the container ends.
inline std::u16string castFailureOfLoading(const std::string& container) {
  const tarn::kern::Model model = emptyModel();
  try {
    loadInto(model, container);
  } catch (const bedrock::except::Exception<nimbo::messages::CannotCastIncompatibleTypes, std::exception>& failure) {
    EXPECT_EQ(model->getElementCount(), 0U) << "a failed reading left something behind";
    return failure.getMsgID().arguments().at(0);
  }
  ADD_FAILURE() << "no cast failure was thrown";
  return {};
}

}  // namespace testsupport
