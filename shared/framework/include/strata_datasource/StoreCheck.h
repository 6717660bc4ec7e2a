#pragma once

#include <string>
#include <vector>

#include <strata/Uri.h>
#include <tarn/export.h>

namespace strata_datasource {

/// The full check of a store: SQLite's own of pages, indexes and types, and what the tables of a store keep to among
/// themselves: every element is of a class that the store lists and has its row there, stands in an element that is
/// there, and refers to elements that are there. It needs no meta-model and changes nothing. Time grows with the file,
/// since all of it is read: binding a store does not do this.
/// @return a text per fault, at most some hundred; empty for a good store
/// @throws strata::StoreError for a file that is missing, foreign, or in use by a model that may write
[[nodiscard]] TARN_EXPORT std::vector<std::string> checkStore(const strata::Uri& place);

}  // namespace strata_datasource
