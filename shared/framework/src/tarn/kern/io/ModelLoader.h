#pragma once

#include <string>

#include <tarn/kern/Model.h>
#include <tarn/kern/io/RawElement.h>

#include "MentionedElements.h"

namespace tarn::kern::io {

/// Turns raw elements, which fit the current meta-model by now, into elements of a model: the end of every way in on
/// which content is evolved.
///
/// The raw form comes from several kinds of file, so values are taken in each form that says what they are: a number
/// also as text, a truth value as "true" or "false", an enum by literal or by number, a map also in the shape of a
/// reference or data value that a reader without meta-model takes it for.
///
/// Use, within an open transaction on the model:
///
///     ModelLoader loader(model, sourceName);
///     for (const RawElement& root : roots) loader.load(root);
///     loader.finish();
///     transaction.commit(boost::none);
///     loader.destroyDangling();
///
/// @throws ParseError, with the place where the raw content came from, for all that does not fit; it names types and
/// properties of the current meta-model. Element rules are those of Parser.
class ModelLoader {
 public:
  ModelLoader(const Model& model, std::string sourceName);

  /// Makes the element and all it contains. `pathToRoot` is where it stands in its document, for errors.
  ModelElement load(const RawElement& root, const std::string& pathToRoot = {});
  /// Only makes sure that the element is there, as a reference to it does; properties are not looked at.
  ModelElement mention(const RawElement& root, const std::string& pathToRoot = {});

  void finish() { fElements.finish(); }
  void destroyDangling() { fElements.destroyDangling(); }

 private:
  class Filler;
  std::string fSourceName;
  MentionedElements fElements;
};

}  // namespace tarn::kern::io
