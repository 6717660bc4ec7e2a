#pragma once

#include <iosfwd>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include <tarn/kern/Model.h>
#include <tarn/kern/ModelElement.h>
#include <tarn/kern/Transaction.h>
#include <tarn/kern/meta/Class.h>
#include <tarn/kern/meta/Property.h>

#include "quillon/nimbo/NimboModelWrapperException.h"
#include "quillon/nimbo/StreamIArchive.h"
#include "quillon/nimbo/StreamOArchive.h"
#include "quillon/nimbo/export.h"

namespace quillon::nimbo::detail {
struct WrapperAccess;  // the way of safeSave to the header
}

namespace quillon::nimbo::internal {

/// Holds one model for an application: its root, its files and strings in every format, its transaction, its store.
///
/// An application derives from it, names the class of its root and the header of its binary files, and overrides the
/// hooks that it needs (examples/workshop is such an application):
///
///     class Plan : public quillon::nimbo::internal::NimboModelWrapperBase {
///      public:
///       Plan() : NimboModelWrapperBase(planClass(), "PLAN1\n", /*keepBytes=*/false, /*destroyOnRelease=*/true) {}
///     };
///     Plan plan;
///     plan.open(u"kitchen.plan");          // binary, JSON, XML or a store: it looks
///     plan.getRoot()->set(u"title", u"Kitchen");
///     plan.setDirty();                     // the wrapper cannot see changes made through handles
///     quillon::nimbo::safeSave(plan, u"kitchen.plan");
///
/// States. Model and root exist on demand: whatever needs a model makes it.
///
/// - empty: neither model nor cached bytes. After construction and `reset`; the first request makes model and root.
/// - deferred: cached bytes, no model. After `openFromBinString` when bytes are kept; the first request parses them.
/// - loaded: model and root. After every parse, the first request, `cloneFrom` and `attachModel`.
/// - store-bound: loaded, and the model is bound to the store at `strataFilePath`. After `open` on a store and
///   `attachModel` with a path; ended by `close`, which leaves it loaded, and by `detachModel`, which leaves it empty
///   (but for cached bytes).
/// - failed: a model without root. After a parse that threw; `getRoot` is null until the next parse or `reset`.
///
/// Cached bytes are the model's binary form as it was read (or, with keepSerializedData, last written to a string).
/// While they are there, saving in the binary form writes just them. They are not dropped by changes of elements, by
/// commit or by rollback: whoever changes the model calls `setDirty`, or the change is not saved. JSON and XML are
/// always written from the model.
///
/// Every parse replaces the model, and the old one is gone before the first byte is read: there is no way back to it
/// when the parse fails. After a failure the new model holds what the reader left, the root is null, and the exception
/// passes on. Nobody parses inside a wrapper transaction: it belongs to the model that is replaced.
///
/// Files that are written here are truncated first and written in place, and an error after the opening, such as a full
/// disk, is not reported. Applications save with safeSave (SafeSave.h), which leaves the old file or the new one, and
/// tells.
///
/// Threads: one at a time, for operations that are const as well: they make the model. There is no lock inside.
class NIMBO_EXPORT NimboModelWrapperBase {
 public:
  using Model = tarn::kern::Model;
  using ModelElement = tarn::kern::ModelElement;
  using Class = tarn::kern::meta::Class;
  using Property = tarn::kern::meta::Property;
  using ustring = std::u16string;

  class ScopedTransaction;

  /// Makes no model.
  /// @param rootClass  class that the root must conform to
  /// @param header  the bytes in front of the container in a binary file ("magic"); may be empty
  /// @param keepBytes  binary data is kept as it was read, and parsed when a model is first asked for: a wrapper that
  ///   is loaded and saved unchanged never parses and never serializes
  /// @param destroyOnRelease  `reset` and the destructor destroy the model's content, whoever else holds it
  NimboModelWrapperBase(const Class& rootClass, const std::string& header, bool keepBytes, bool destroyOnRelease);
  /// What the constructor was given is copied, then the content by `cloneFrom`, with the hooks of this base class. All
  /// else starts anew: evolution is on, whatever `other` says; there is no store and no transaction.
  NimboModelWrapperBase(const NimboModelWrapperBase& other);
  NimboModelWrapperBase& operator=(const NimboModelWrapperBase&) = delete;

  // The virtual operations stand together, since their order is fixed for those who were built against it.

  /// Commits a pending transaction, whose failure is swallowed, and lets go of the model. A bound store is not walked
  /// (see `close`).
  virtual ~NimboModelWrapperBase();

  /// Opens whatever lies at `path`. "{" as the first byte means JSON text, "<" XML text (without looking further, and
  /// even where the header begins so); a file that begins with the header is a binary file (see `openFromBinString`).
  /// Everything else is taken for a store, which the model is then bound to: missing and empty files become a new store
  /// with a new root. An empty path acts as `reset`.
  ///
  /// The first byte is compared with the header's as a signed character: a header that begins with a byte from 0x80 up
  /// matches no file, and one that begins with 0xFF a file without any byte.
  /// @throws what the parsers throw; strata::StoreError for a file that is no store: the wrapper is then empty but for
  ///   a new model without root, and `strataFilePath` is what it was. Also strata::StoreError for a store that is only
  ///   found out to be of no use when its root is looked for: it may only be read and holds no root (kind ReadOnly), or
  ///   a page is damaged. The wrapper is bound to it then, without root; `detachModel` or the next `open` lets go.
  ///
  /// A new root is committed before this returns, by a guard: where that commit fails, as on a full disk, the process
  /// ends (see ScopedTransaction).
  virtual void open(const ustring& path);

  /// Takes a container without header: keeps it (keepSerializedData) or parses it.
  virtual void openFromBinString(const std::string& data);

  /// Ends the binding to a store: what `resolveProxies` reaches is made real, the store is let go, and the model lives
  /// on in memory. Without a store nothing happens. When a hook throws, or the store cannot be read, the wrapper stays
  /// bound.
  ///
  /// What the hooks change is committed to the store when the walk ends, by a guard: a commit that fails there ends the
  /// process, and so does a hook that changes an element of a store that may only be read. Inside a caller's
  /// transaction the walk joins it: its changes stay in memory, and the store does not see them.
  virtual void close();

  /// The model as JSON or XML text in UTF-8; values equal to their default are left out. Cached bytes play no part.
  [[nodiscard]] virtual std::string serializeToJSON() const;
  [[nodiscard]] virtual std::string serializeToXML() const;
  /// Writes the cached bytes, or else the top-level elements in the default binary form.
  virtual void serializeToBinStream(StreamOArchive& archive) const;

  /// Each replaces the model by the content of the text or stream and looks for the root.
  /// @throws what the reader throws; NimboModelWrapperException RootNotFound.
  virtual void parseJSONString(const std::string& text);
  virtual void parseXMLString(const std::string& text);
  virtual void parseBinStream(StreamIArchive& archive);

 protected:
  /// Lets go of the model (destroying it, if the wrapper is to), the root and the cached bytes. A store's path and a
  /// pending transaction stay: derived classes call `close` first.
  virtual void reset();

  /// Called by `close` for each element that the walk reaches, before its properties are read. A derived class puts
  /// real elements in the place of proxies here, and may destroy this element or others: the walk passes over an
  /// element that is destroyed before its turn comes, and does not look into one that its own hook destroyed. Nothing
  /// by default.
  virtual void resolveProxies(const ModelElement& element);

  /// Whether that walk follows the property: by default, whether it is composite. Must be false for properties whose
  /// type is no class.
  virtual bool mustResolveProxies(const Property& property);

  /// Finds the root in a model that has been filled, or makes one. In memory it is the first top-level element that
  /// conforms to the root's class; top-level elements none of which conforms are an error. In a store it is the first
  /// element of the class, and its lack is no error. @throws NimboModelWrapperException RootNotFound
  virtual void setRoot();

 public:
  // --- Model and root.

  /// The model, made or parsed now if there is none.
  [[nodiscard]] Model getModel() const;
  [[nodiscard]] const Model& getModelRef() const;
  /// The root; null after a parse that failed.
  [[nodiscard]] ModelElement getRoot() const;
  /// Whether there is a model already; makes none.
  [[nodiscard]] bool modelExists() const;
  /// The path of the bound store, empty when there is none.
  [[nodiscard]] const ustring& strataFilePath() const;
  /// Whether content of older package versions is brought up to date when it is read. On at first.
  [[nodiscard]] bool getEvolveIfNeeded() const;
  void setEvolveIfNeeded(bool on);

  /// Replaces the content by that of another wrapper: its cached bytes and a clone of its model, whichever of them it
  /// has. Nothing is parsed. A wrapper cloned from itself is empty. A failure leaves the new model as the cloner did.
  void cloneFrom(const NimboModelWrapperBase& other);
  /// Clones elements into this model, swapping those that are keys of the map (see Cloner), and drops the cached bytes.
  void cloneAndReplace(const std::vector<ModelElement>& elements,
                       const std::unordered_map<ModelElement, ModelElement>& replacements);

  // --- The transaction. There is at most one: a second begin joins the first and does not count, and the first end,
  // by whomever, ends it. Code that may run inside somebody's transaction uses a ScopedTransaction.

  void beginTransaction() const;
  /// Nothing happens when none is pending. When the commit throws, the transaction is still pending; likewise below.
  void commitTransaction() const;
  void rollbackTransaction() const;
  [[nodiscard]] bool isInTransaction() const;
  /// To be called by whoever has changed the model, or is about to: parses if there is no model yet, then drops the
  /// cached bytes, so that the next save is made from the model.
  void setDirty() const;

  // --- Files and strings.

  /// Each reads a whole file; the model is replaced as by the operation on strings.
  /// @throws NimboModelWrapperException NonExistingFile; InvalidBinaryFile when the file does not begin with the header
  ///   (missing bytes count as blanks). Nothing has changed then.
  void parseBinFile(const ustring& path);
  void parseJSONFile(const ustring& path);
  void parseXMLFile(const ustring& path);
  /// As parseBinStream.
  void parseBinString(const std::string& data);
  /// The JSON text of a container, read without a meta-model; no wrapper and no model take part.
  [[nodiscard]] static std::string parseBinStreamToJSON(StreamIArchive& archive);

  /// Each truncates the file, then writes it in place. What goes wrong after the opening is not reported: a full disk
  /// leaves a part of the file and no word of it, an exception of the serializer a header without content. Use safeSave
  /// (SafeSave.h) for files that somebody needs.
  /// @throws NimboModelWrapperException FailedToCreateFile; nothing has changed then.
  void serializeToBinFile(const ustring& path) const;
  void serializeToJSONFile(const ustring& path) const;
  void serializeToXMLFile(const ustring& path) const;
  /// The container without header. With keepSerializedData the bytes are kept: a second call gives the same ones.
  [[nodiscard]] std::string serializeToBinString() const;

  /// The URIs of the packages that the model uses, as a JSON array. Stored beside the data, it tells a later program by
  /// `evolveIsNeeded` whether the data will be evolved, without opening it.
  [[nodiscard]] std::string getUsedPackageUrisAsJSON() const;
  /// Whether one of the URIs in a JSON text (the entries of an array, the values of an object, a string by itself) is
  /// not the current version of its package family. @throws the JSON library's errors
  [[nodiscard]] static bool evolveIsNeeded(const std::string& text);

 protected:
  /// Takes over a model that somebody made, and the path of the store that it is bound to (empty for none). The model
  /// held before is neither destroyed nor reset. A null model, or the one already held, changes the path alone.
  void attachModel(const Model& newModel, const ustring& path);
  /// Lets go of model, root and path. The model is not destroyed; it belongs to whoever else holds it. Cached bytes
  /// stay: the next request for a model parses them.
  void detachModel();

  /// The walk of `close`: breadth first from the root through the properties that mustResolveProxies names, each
  /// element handled once, in one transaction (the caller's, where there is one). The transaction is committed also
  /// when an exception leaves the walk.
  void resolveProxies();

  /// Writes the cached bytes, if there are any, and says whether: for overrides of serializeToBinStream.
  bool writeCachedSerializedData(StreamOArchive& archive) const;

 private:
  friend struct quillon::nimbo::detail::WrapperAccess;

  void createModel();
  void createModelIfNeeded() const;

  void makeModel();
  void makeRoot();
  void makeRootInTransaction();
  void findRootInStore();
  void findRootAtTopLevel();
  bool openFile(const ustring& path);
  void openStore(const ustring& path);
  void writeBinFile(std::ostream& stream) const;

  // Mutable is what operations on demand fill in; seen from outside, the wrapper is the same before and after.
  Class rootMetaClass;
  std::string magic;
  bool keepSerializedData;
  bool destroyModelOnRelease;
  bool evolveIfNeeded = true;
  /// Set while createModel parses the cached bytes, so that `reset` keeps them. It stays set when that parse throws:
  /// the bytes, which are the only copy of the content, then survive every `reset` until a later attempt succeeds.
  mutable bool reloadingFromCache = false;
  mutable std::string serializedData;
  mutable Model model;
  mutable ModelElement root;
  ustring strataFilePath_;  // named as its getter is, which holds the name
  mutable std::unique_ptr<tarn::kern::Transaction> transaction;
};

/// Runs a scope in the wrapper's transaction: in the pending one, which it then leaves alone, or in one of its own.
///
/// A guard that owns the transaction commits it on every way out of the scope, an exception included; code that wants a
/// rollback calls `rollbackTransaction` inside the scope, and the guard finds nothing to do. A commit that throws in
/// the destructor ends the process: where a commit may fail, as on a full disk, call `commitTransaction` before the
/// scope ends and handle its failure (which leaves the transaction pending: roll it back there).
///
/// Copies point to the same wrapper; the first of them to end commits. Assigning to a guard makes it forget a
/// transaction that it owned, which then stays pending.
class NIMBO_EXPORT NimboModelWrapperBase::ScopedTransaction {
 public:
  explicit ScopedTransaction(const NimboModelWrapperBase& owner);
  /// A null pointer is legal and does nothing.
  explicit ScopedTransaction(const NimboModelWrapperBase* owner);
  ScopedTransaction(const ScopedTransaction&) = default;
  ~ScopedTransaction();
  ScopedTransaction& operator=(const ScopedTransaction& other) = default;

 private:
  void init();

  const NimboModelWrapperBase* wrapper;  ///< null: the pending transaction is somebody else's, or there is none
};

}  // namespace quillon::nimbo::internal
