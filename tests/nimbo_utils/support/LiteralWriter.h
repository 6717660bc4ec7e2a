#pragma once

#include <ostream>
#include <vector>

#include <tarn/kern/ModelElement.h>

namespace testsupport {

/// Writes the binary model stream of these roots, up to and including the "n", in the plainest way there is: every
/// property through a Value, every value at once to the stream, ids in ordinary maps. The yardstick for the library's
/// writer, which must give the same bytes although it reads most values where they lie. For models that the form can
/// hold; elements of a few thousand levels at most.
void writeLiterally(std::ostream& stream, const std::vector<tarn::kern::ModelElement>& roots);

}  // namespace testsupport
