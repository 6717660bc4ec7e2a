#pragma once

#include <memory>
#include <vector>

#include <tarn/kern/meta/Class.h>
#include <tarn/kern/meta/Enum.h>
#include <tarn/kern/meta/Package.h>

namespace tarn::kern::meta {

/// The process-wide registry of packages and their types. Filled at start-up through PackageBuilder, read afterwards.
///
/// Registration of several packages is all or nothing. Of a family several versions may be registered; the highest one
/// is current, and names resolve to its types. Versions are compared as numbers separated by dots ("2" < "10", "1.9" <
/// "1.10"), other parts by their text. Threads: reads may run in many threads at once, also while another thread
/// registers.
class TARN_EXPORT MetaRegistry {
 public:
  static MetaRegistry* getInstance();

  MetaRegistry(const MetaRegistry&) = delete;
  MetaRegistry& operator=(const MetaRegistry&) = delete;

  /// What the URIs of versioned packages begin with: base, family, "/", version. Ends in "/".
  [[nodiscard]] static const ustring& schemaBaseUri();

  /// The current package of a family: the part of its URI between the base and the next "/"; for a package outside the
  /// base, its whole URI. A null handle when unknown.
  [[nodiscard]] Package getPackageForFamily(const ustring& family) const;
  /// The registered package of exactly that URI, current or not, or a null handle.
  [[nodiscard]] Package getPackage(const ustring& uri) const;
  /// The type of that qualified name, of the current version of its family; a null handle when unknown.
  [[nodiscard]] Type getType(const ustring& qualifiedName) const;
  /// True when the URI is that of a registered package which is the current one of its family.
  [[nodiscard]] bool isVersionCurrentForFamily(const ustring& uri) const;

  /// All registered top-level packages, the kernel's own left out, in order of registration.
  [[nodiscard]] std::vector<Package> getPackages() const;

  /// Forgets every package that was registered so far; the kernel's own types stay. Handles to forgotten packages and
  /// types stay valid, and models of them usable: they merely are no longer found by name. For tests and for tools that
  /// load one meta-model after another.
  void reset();

 private:
  friend class internal::MetaFactory;
  MetaRegistry();
  ~MetaRegistry();
  struct State;
  std::unique_ptr<State> fState;
};

}  // namespace tarn::kern::meta
