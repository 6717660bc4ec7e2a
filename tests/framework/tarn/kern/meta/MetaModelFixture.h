#pragma once

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tarn/kern/Errors.h>
#include <tarn/kern/meta/PackageBuilder.h>

namespace tarn::kern::meta {

/// Begins and ends with a registry that knows the kernel's own types only.
class MetaModelTest : public testing::Test {
 protected:
  MetaModelTest() { registry().reset(); }
  ~MetaModelTest() override { registry().reset(); }

  static MetaRegistry& registry() { return *MetaRegistry::getInstance(); }

  /// Why the packages are refused; empty when they are not. Whatever the answer, a refusal must not leave a trace.
  static std::vector<std::string> faultsOf(const std::vector<PackageBuilder*>& packages) {
    const std::vector<Package> before = registry().getPackages();
    try {
      PackageBuilder::registerAll(packages);
    } catch (const MetaModelError& error) {
      EXPECT_EQ(registry().getPackages(), before);
      return error.faults();
    }
    return {};
  }
  static std::vector<std::string> faultsOf(PackageBuilder& package) { return faultsOf({&package}); }

  template <class Handle>
  static Handle find(const ustring& qualifiedName) {
    return narrow<Handle>(registry().getType(qualifiedName));
  }
};

/// The names of properties, literals, packages, types.
template <class Elements>
std::vector<ustring> namesOf(const Elements& elements) {
  std::vector<ustring> names;
  for (const auto& element : elements) names.push_back(element->getName());
  return names;
}

}  // namespace tarn::kern::meta
