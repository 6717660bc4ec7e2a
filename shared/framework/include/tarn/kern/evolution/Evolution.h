#pragma once

#include <concepts>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <tarn/export.h>
#include <tarn/kern/Errors.h>
#include <tarn/kern/io/RawElement.h>

/// Declares what changed in a package family from version to version, so that the definition reads like a list of
/// changes:
///
///     Evolution(u"library")
///         .from(u"1.0").to(u"1.1")
///             .renameClass(u"Volume", u"Book")
///             .renameProperty(u"Book", u"label", u"title")
///         .from(u"1.1").to(u"2.0")
///             .changeType(u"Book", u"pages", u"String", u"Integer")
///             .addProperty(u"Book", u"language", u"en")
///             .custom(u"Book", [](io::RawElement& book) { ... })
///         .registerEvolution();
///
/// The steps between two versions apply in the order in which they are declared, each to what the one before left:
/// after a class was renamed, steps name it by its new name. Between versions for which nothing is declared nothing has
/// changed that content would notice. docs/evolution.md tells what each step does.
///
/// Types are named by their simple name in the package, as it is called at that moment; a name with a dot is taken as a
/// qualified one, and the names of the standard types as those. A step on a class applies to the elements of its
/// subclasses too. The older class hierarchy is that of the older version of the package where that is registered;
/// otherwise it is the one of the following version with the steps undone.
namespace tarn::kern::evolution {

using bedrock::i18n::ustring;

namespace internal {
struct Definition;
}

/// An evolution that contradicts itself, the registered packages, or what was declared before. Nothing of it was
/// registered.
class TARN_EXPORT EvolutionDefinitionError : public KernelError {
 public:
  EvolutionDefinitionError(const ustring& family, std::vector<std::string> faults);
  EvolutionDefinitionError(const EvolutionDefinitionError&) = default;
  EvolutionDefinitionError& operator=(const EvolutionDefinitionError&) = default;
  ~EvolutionDefinitionError() override;

  /// One text per fault, in the order of the declaration.
  [[nodiscard]] const std::vector<std::string>& faults() const noexcept { return fFaults; }

 private:
  std::vector<std::string> fFaults;
};

/// A single plain value as a step names it: a truth value, a number, or a text; a literal, uuid, point in time or
/// custom value by its text.
class TARN_EXPORT PlainContent {
 public:
  PlainContent(bool value) : fValue(value) {}                        // NOLINT(google-explicit-constructor)
  PlainContent(const char16_t* text) : fValue(text) {}               // NOLINT(google-explicit-constructor)
  PlainContent(ustring text) : fValue(std::move(text)) {}            // NOLINT(google-explicit-constructor)
  PlainContent(double number);                                       // NOLINT(google-explicit-constructor)
  PlainContent(io::RawNumber number) : fValue(std::move(number)) {}  // NOLINT(google-explicit-constructor)
  template <std::integral T>
  PlainContent(T number) : fValue(io::RawNumber{std::to_string(number)}) {}  // NOLINT(google-explicit-constructor)

  [[nodiscard]] const io::RawValue& value() const noexcept { return fValue; }

 private:
  io::RawValue fValue;
};

/// What becomes of the further entries when a collection becomes a single value.
enum class Surplus : unsigned char {
  Refuse,     ///< content with more than one entry is an error
  KeepFirst,  ///< the first entry stays
};

/// Declares the evolution of one package family. A value under construction: nothing is checked or known before
/// registerEvolution. Every call returns the evolution itself.
class TARN_EXPORT Evolution {
 public:
  using Function = std::function<void(io::RawElement&)>;
  using DataFunction = std::function<void(io::RawData&)>;

  explicit Evolution(std::u16string_view family);
  Evolution(const Evolution&) = delete;
  Evolution& operator=(const Evolution&) = delete;
  ~Evolution();

  /// Begins the steps between two versions: from(u"1.0").to(u"2.0").
  Evolution& from(std::u16string_view version);
  Evolution& to(std::u16string_view version);

  /// The package has another qualified name since.
  Evolution& renamePackage(std::u16string_view from, std::u16string_view to);

  // --- Types. Content, references included, bears the new name.
  Evolution& renameClass(std::u16string_view from, std::u16string_view to);
  Evolution& renameDataType(std::u16string_view from, std::u16string_view to);
  Evolution& renameEnum(std::u16string_view from, std::u16string_view to);
  /// The class is gone; its elements are elements of another class that was there before.
  Evolution& mergeClass(std::u16string_view from, std::u16string_view into);
  /// The class is gone, and with it its elements (not those of subclasses), what they contain, and references to them.
  Evolution& removeClass(std::u16string_view name);
  /// The data type is gone, and with it its values.
  Evolution& removeDataType(std::u16string_view name);
  /// The class had another superclass (an empty name: none). Content stays as it is; the steps before this one apply to
  /// elements of this class as to those of the old superclass.
  Evolution& changeSuperclass(std::u16string_view name, std::u16string_view from, std::u16string_view to);

  // --- Properties of a class or data type.
  Evolution& renameProperty(std::u16string_view type, std::u16string_view from, std::u16string_view to);
  /// The property is gone, with all that it holds.
  Evolution& removeProperty(std::u16string_view type, std::u16string_view name);
  /// The property is new. Without a value it stays out of older content, and shows its default.
  Evolution& addProperty(std::u16string_view type, std::u16string_view name);
  /// The property is new; older content gets this value.
  Evolution& addProperty(std::u16string_view type, std::u16string_view name, const PlainContent& value);
  /// The property has another type; values are converted, entry by entry in a collection.
  Evolution& changeType(std::u16string_view type, std::u16string_view name, std::u16string_view from,
                        std::u16string_view to);
  /// A single value became a collection.
  Evolution& toCollection(std::u16string_view type, std::u16string_view name);
  /// A collection became a single value.
  Evolution& toSingle(std::u16string_view type, std::u16string_view name, Surplus surplus = Surplus::Refuse);
  /// The value moved along a composite path, such as from "street" to "address.street" or back. What is missing on the
  /// way to the new place is made, with a uuid derived from that of the element that contains it.
  Evolution& moveProperty(std::u16string_view type, std::u16string_view fromPath, std::u16string_view toPath);
  /// The property has another default since: content that left the old one out gets it explicitly.
  Evolution& newDefault(std::u16string_view type, std::u16string_view name, const PlainContent& oldDefault);

  // --- Literals of an enum.
  Evolution& renameLiteral(std::u16string_view type, std::u16string_view from, std::u16string_view to);
  /// The literal is gone; values that held it hold another one.
  Evolution& removeLiteral(std::u16string_view type, std::u16string_view literal, std::u16string_view replacement);

  // --- Where none of these does.
  /// The function is called with each element of the class, containers before what they contain. It may change the
  /// element and all inside it.
  Evolution& custom(std::u16string_view type, Function function);
  /// The same for each value of a data type.
  Evolution& customData(std::u16string_view type, DataFunction function);
  /// The function that nameFunction or nameDataFunction has given this name: definitions in files can only do this.
  Evolution& custom(std::u16string_view type, std::u16string_view functionName);

  /// Makes a function known by name, in place of an earlier one of that name. MetaRegistry::reset forgets it.
  static void nameFunction(std::u16string_view name, Function function);
  static void nameDataFunction(std::u16string_view name, DataFunction function);

  /// Checks the evolution as a whole and makes it known; a family may be given further versions later. The current
  /// version of the family must be registered already. MetaRegistry::reset forgets evolutions together with packages.
  /// @throws EvolutionDefinitionError naming every fault; nothing is registered then. The evolution is spent
  /// afterwards.
  void registerEvolution();

 private:
  friend struct internal::Definition;
  std::unique_ptr<internal::Definition> fDefinition;
};

}  // namespace tarn::kern::evolution
