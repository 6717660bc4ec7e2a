#pragma once

#include <string>

#include <tarn/kern/evolution/Evolver.h>

namespace strata_datasource {

/// Brings a store of older package versions up to date: its content is read without a meta-model, evolved, loaded into
/// a model in memory, and takes the place of the old tables in one transaction. All of it is in memory meanwhile. Uuids
/// and the order of trees stay; ids are given anew.
/// @throws strata::StoreError (Stale) when the content cannot be brought up to date; the file is as it was then.
void evolveStore(const std::string& path, const tarn::kern::evolution::Evolver& evolver);

}  // namespace strata_datasource
