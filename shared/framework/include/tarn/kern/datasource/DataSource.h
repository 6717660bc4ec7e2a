#pragma once

#include <cstdint>

#include <tarn/export.h>

/// What a model sees of the store that it is bound to.
namespace tarn::kern::datasource {

/// The base of everything that a model's content can come from and go to.
class TARN_EXPORT DataSource {
 public:
  /// What comes into the model when it is bound.
  enum class ToModelSync : std::uint32_t {
    OnTouch = 0,     ///< elements appear as they are touched; binding reads no content
    Everything = 1,  ///< all of the store's content is read at once
  };
  /// What goes to the store.
  enum class ToDataSourceSync : std::uint32_t {
    Never = 0,    ///< the store is read only: a commit that would change it throws, and the file is never written
    Changes = 1,  ///< what changed, and all content of a model that is bound to a new store
  };
  /// When it goes there.
  enum class SyncTiming : std::uint32_t {
    OnCommit = 0,   ///< with each outermost commit
    OnRelease = 1,  ///< all at once, when the model is unbound or let go; nothing is durable before
  };

  DataSource(const DataSource&) = delete;
  DataSource& operator=(const DataSource&) = delete;
  virtual ~DataSource();

 protected:
  DataSource();
};

}  // namespace tarn::kern::datasource
