#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include <tarn/kern/Model.h>
#include <tarn/kern/meta/Class.h>
#include <tarn/kern/meta/Package.h>

namespace testsupport {

/// A meta-model drawn by chance, and models of it. The same seed gives the same ones.
///
/// It has everything that the binary form can hold: a tree of classes, data types within data types, enums, values of
/// every standard type in every multiplicity with and without default, generic storage, references, composites with and
/// without way back, properties that are left out. Whatever is required is set, since an absent one would come back as
/// a zero.
class RandomMetaModel {
 public:
  explicit RandomMetaModel(std::uint32_t seed);

  enum class Roots : std::uint8_t { One, Many };

  /// A model with a root that holds that many other elements, some of them within each other; or of many roots, when
  /// some of those others stand beside it.
  [[nodiscard]] tarn::kern::Model drawModel(std::size_t elements, Roots roots = Roots::One);

  [[nodiscard]] const tarn::kern::meta::Package& package() const noexcept { return fPackage; }

 private:
  std::size_t below(std::size_t end) { return fRandom() % end; }
  bool chance(std::size_t oneIn) { return below(oneIn) == 0; }
  std::u16string text();
  tarn::kern::Value valueOf(const tarn::kern::meta::Type& type);
  void fillStructure(tarn::kern::ReflectiveDataType& data);
  void fill(const tarn::kern::ModelElement& element);
  void fillValues(const tarn::kern::ModelElement& element, const tarn::kern::meta::Property& property);
  void refer(const tarn::kern::ModelElement& element, const std::vector<tarn::kern::ModelElement>& all);

  std::mt19937 fRandom;
  tarn::kern::meta::Package fPackage;
  tarn::kern::meta::Class fRoot;
  std::vector<tarn::kern::meta::Class> fClasses;
};

}  // namespace testsupport
