#pragma once

#include <cstddef>

#include <tarn/kern/Model.h>
#include <tarn/kern/ReflectiveDataType.h>

#include "DebianVersion.h"
#include "PlainDatabase.h"

namespace debian_packages {

/// A new model of the database, with one root, the Database. The same input gives the same uuids, so two models can be
/// compared, whenever and wherever they were made. All is built in one transaction.
tarn::kern::Model buildModel(const PlainDatabase& database);

/// A version as the model holds it. The data type compares by content; this one compares the way dpkg does.
DebianVersion versionOf(const tarn::kern::ReflectiveDataType& version);

/// How many properties of the model's elements a file has a record for: all but those that show their default. The
/// attributes of data types are not counted.
std::size_t savedPropertyCount(const tarn::kern::Model& model);

}  // namespace debian_packages
