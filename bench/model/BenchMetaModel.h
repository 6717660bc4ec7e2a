#pragma once

#include <tarn/kern/meta/Class.h>

namespace bench::model {

/// Handles to what limit/Description.h describes, as the kernel knows it.
struct BenchMetaModel {
  tarn::kern::meta::Class item;
  tarn::kern::meta::Class folder;

  // Of every element.
  tarn::kern::meta::Property documentation;
  tarn::kern::meta::Property name;
  tarn::kern::meta::Property abstract;
  tarn::kern::meta::Property base;
  tarn::kern::meta::Property marks;
  tarn::kern::meta::Property modified;
  tarn::kern::meta::Property multiplicity;
  tarn::kern::meta::Property parent;
  tarn::kern::meta::Property related;
  tarn::kern::meta::Property revision;
  tarn::kern::meta::Property tags;
  tarn::kern::meta::Property visibility;
  tarn::kern::meta::Property weight;

  // Of folders.
  tarn::kern::meta::Property children;
};

/// Registers the package. @throws tarn::kern::MetaModelError the second time.
[[nodiscard]] BenchMetaModel registerBenchMetaModel();

}  // namespace bench::model
