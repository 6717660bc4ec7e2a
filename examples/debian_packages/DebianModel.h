#pragma once

#include <cstddef>

#include <tarn/kern/Model.h>
#include <tarn/kern/ReflectiveDataType.h>

#include "DebianMetaModel.h"
#include "DebianVersion.h"
#include "PlainDatabase.h"

namespace debian_packages {

/// A new model of the database, with one root, the Database. The same input gives the same uuids, so two models can be
/// compared, whenever and wherever they were made. All is built in one transaction. `meta` is the version of the
/// meta-model to build it with.
tarn::kern::Model buildModel(const PlainDatabase& database, const DebianMetaModel& meta = debianMetaModel());

/// A version as the model holds it. The data type compares by content; this one compares the way dpkg does.
DebianVersion versionOf(const tarn::kern::ReflectiveDataType& version);

/// How many properties of the model's elements a file has a record for: all but those that show their default. The
/// attributes of data types are not counted.
std::size_t savedPropertyCount(const tarn::kern::Model& model);

}  // namespace debian_packages
