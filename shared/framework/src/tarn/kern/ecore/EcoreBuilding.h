#pragma once

#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include <tarn/kern/meta/PackageBuilder.h>

#include "EcoreLinks.h"

namespace tarn::kern::ecore {

/// Turns the documents of one import into packages.
class EcoreBuilding {
 public:
  EcoreBuilding(EcoreLinks& links, std::vector<std::string>& warnings);

  /// Registers all, or nothing. @throws EcoreError
  void run();

  /// The packages at the top of a document.
  [[nodiscard]] std::vector<meta::Package> packagesOf(const EcoreDocument& document) const;

 private:
  /// A note for the annotation of Facets.h.
  class FacetList {
   public:
    void set(std::string_view key, std::string_view value);
    template <class Builder>
    void annotate(Builder& builder) {
      if (!fAnnotation.details.empty()) builder.annotate(fAnnotation);
    }

   private:
    meta::Annotation fAnnotation;
  };

  /// A property by whatever declares it: a node, or a property that was registered before.
  using Origin = const void*;
  struct ClassDraft {
    const EcoreNode* node = nullptr;
    meta::ClassBuilder* builder = nullptr;
    std::vector<EcoreTarget> supertypes;     // those that are taken over
    std::map<std::string, Origin> features;  // all, by name
    std::set<const EcoreNode*> skipped;      // own features that are not taken over
    enum class State : std::uint8_t { New, Open, Done } state = State::New;
  };

  /// What a property is declared with.
  struct TypeChoice {
    std::optional<meta::TypeRef> type;
    std::string canonical;  // of the Ecore type, where the kernel's type does not tell it
    bool isClass = false;
    bool isMap = false;
    bool isFeatureMap = false;
    bool isDataValue = false;      // a structured data type of the kernel
    meta::PrimitiveType standard;  // for standard types
    const EcoreNode* enumNode = nullptr;
    meta::Enum registeredEnum;
  };

  void draftPackage(const EcoreNode& node, meta::PackageBuilder& builder);
  void draftClassifier(const EcoreNode& node, meta::PackageBuilder& builder, std::set<std::string>& names);
  void draftEnum(const EcoreNode& node, meta::EnumBuilder& builder);
  void annotatePackage(const EcoreNode& node, meta::PackageBuilder& builder);

  void resolveClass(ClassDraft& draft);
  void takeSupertype(ClassDraft& draft, const EcoreNode& holder, const std::string& reference);
  [[nodiscard]] bool takeFeaturesOf(ClassDraft& draft, const EcoreTarget& supertype);
  [[nodiscard]] std::string circleOf(const ClassDraft& draft) const;

  void buildClass(ClassDraft& draft);
  template <class Owner>
  void buildFeature(Owner& owner, const EcoreNode& node, bool isInDataType);
  template <class Owner>
  [[nodiscard]] meta::PropertyBuilder declare(Owner& owner, const EcoreNode& node, const TypeChoice& choice,
                                              bool isInDataType);
  void setBounds(meta::PropertyBuilder& property, const EcoreNode& node, FacetList& facets);
  void setFlags(meta::PropertyBuilder& property, const EcoreNode& node, const TypeChoice& choice, FacetList& facets);
  void setDefault(meta::PropertyBuilder& property, const EcoreNode& node, const TypeChoice& choice, FacetList& facets);
  void setOpposite(meta::PropertyBuilder& property, const EcoreNode& node, const TypeChoice& choice, FacetList& facets);
  [[nodiscard]] std::string faultOfOpposite(const EcoreNode& node, const EcoreTarget& opposite);
  void setKeys(meta::PropertyBuilder& property, const EcoreNode& node, FacetList& facets);

  [[nodiscard]] TypeChoice typeOf(const EcoreNode& node);
  [[nodiscard]] TypeChoice classChoice(const EcoreNode& node, const EcoreTarget& target);
  [[nodiscard]] TypeChoice dataChoice(const EcoreNode& node, const EcoreTarget& target);
  [[nodiscard]] meta::PrimitiveType standardTypeOf(const EcoreTarget& target, bool& isKnown) const;
  [[nodiscard]] std::optional<EcoreTarget> erasureOf(const EcoreNode& generic);
  [[nodiscard]] std::optional<EcoreTarget> targetOfType(const EcoreNode& node);
  [[nodiscard]] meta::ClassBuilder& stubFor(const EcoreNode& user, const EcoreTarget& target);

  /// The notes of a node: simple ones as they are, all else that the kernel does not know as text.
  template <class Builder>
  void annotate(Builder& builder, const EcoreNode& node, FacetList& facets,
                const std::vector<std::string_view>& keptTags);
  [[nodiscard]] std::string keptText(const EcoreNode& node);
  [[nodiscard]] static const std::string* noteOf(const EcoreNode& node, std::string_view key);
  [[nodiscard]] static const std::string* extendedDetail(const EcoreNode& node, std::string_view key);

  void checkTags(const EcoreNode& node, const std::vector<std::string_view>& known) const;
  [[nodiscard]] std::string nameOf(const EcoreNode& node);
  [[nodiscard]] static std::string describe(const EcoreNode& node);
  void warn(const EcoreNode& node, const std::string& text);
  [[noreturn]] static void fail(const EcoreNode& node, const std::string& text);

  EcoreLinks& fLinks;
  std::vector<std::string>& fWarnings;
  std::deque<std::unique_ptr<meta::PackageBuilder>> fRoots;
  std::vector<const EcoreNode*> fRootNodes;             // of fRoots, nullptr for packages of stubs
  std::map<const EcoreNode*, meta::Package> fPackages;  // known before, or registered by run
  std::deque<ClassDraft> fClasses;
  std::unordered_map<const EcoreNode*, ClassDraft*> fClassOf;
  std::unordered_map<const EcoreNode*, meta::DataTypeBuilder*> fDataTypes;
  std::unordered_map<const EcoreNode*, meta::EnumBuilder*> fEnums;
  std::unordered_map<const EcoreNode*, meta::Type> fRegistered;  // nodes of packages that were there before
  std::map<std::string, meta::PackageBuilder*> fStubPackages;    // by document URI
  std::map<std::string, meta::ClassBuilder*> fStubs;             // by canonical reference
  std::vector<ClassDraft*> fWay;                                 // classes being resolved
};

}  // namespace tarn::kern::ecore
