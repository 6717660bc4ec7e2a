#pragma once

#include <functional>
#include <string>
#include <vector>

#include "WrapperMetaModel.h"
#include "quillon/nimbo/internal/NimboModelWrapperBase.h"

namespace testsupport {

/// What a wrapper of the tests is made with.
struct WrapperSetup {
  tarn::kern::meta::Class rootClass = wrappingClass(u"Root");
  std::string magic = "WRAP1\n";
  bool keepSerializedData = false;
  bool destroyModelOnRelease = false;
};

/// Shows what derived classes may call, notes which hooks were called, and lets a test act in them.
class TestWrapper : public quillon::nimbo::internal::NimboModelWrapperBase {
 public:
  using Base = quillon::nimbo::internal::NimboModelWrapperBase;

  explicit TestWrapper(const WrapperSetup& setup = {})
      : Base(setup.rootClass, setup.magic, setup.keepSerializedData, setup.destroyModelOnRelease) {}

  using Base::attachModel;
  using Base::detachModel;
  using Base::writeCachedSerializedData;

  void reset() override {
    calls.emplace_back("reset");
    if (onReset) onReset();
    Base::reset();
  }
  void setRoot() override {
    calls.emplace_back("setRoot");
    if (onSetRoot) onSetRoot();
    Base::setRoot();
  }
  void resolveProxies(const ModelElement& element) override {
    calls.push_back("resolve " + nameOf(element));
    if (onResolve) onResolve(element);
    Base::resolveProxies(element);
  }
  bool mustResolveProxies(const Property& property) override {
    return onMustResolve ? onMustResolve(property) : Base::mustResolveProxies(property);
  }
  void walk() { Base::resolveProxies(); }

  void parseJSONString(const std::string& text) override {
    calls.push_back("JSON " + text);
    if (parses) Base::parseJSONString(text);
  }
  void parseXMLString(const std::string& text) override {
    calls.push_back("XML " + text);
    if (parses) Base::parseXMLString(text);
  }
  void openFromBinString(const std::string& data) override {
    calls.push_back("binary of " + std::to_string(data.size()));
    Base::openFromBinString(data);
  }

  std::vector<std::string> calls;
  bool parses = true;  ///< false: texts are noted and not read
  std::function<void()> onReset;
  std::function<void()> onSetRoot;
  std::function<void(const ModelElement&)> onResolve;
  std::function<bool(const Property&)> onMustResolve;
};

}  // namespace testsupport
