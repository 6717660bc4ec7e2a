#pragma once

#include <cstdint>
#include <filesystem>
#include <stdexcept>

#include <quillon/nimbo/BinFormat.h>
#include <tarn/kern/Model.h>

namespace debian_packages {

/// A file that cannot be written or read, or a model that did not come back as it was: one line for the user.
class RoundTripError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Writes the whole model into a file, replacing what was there. When that fails (the disk is full, say) the file is
/// taken away again, since half a container is of no use. Throws RoundTripError, and what the serializer throws.
void saveModel(const tarn::kern::Model& model, quillon::nimbo::BinFormat format, const std::filesystem::path& file);

/// The content of a file as a model of its own. Throws RoundTripError, and what the parser throws.
tarn::kern::Model loadModel(const std::filesystem::path& file);

/// Throws RoundTripError that tells the first difference.
void requireEqual(const tarn::kern::Model& original, const tarn::kern::Model& loaded);

/// Saves the model without keeping the bytes: they are compared with the file as they come. Throws RoundTripError for
/// the first byte that differs, and where one of the two is longer.
///
/// It is more than loading promises for any model: where several roots refer to each other, a loaded model may have
/// them in another order. This one has a single root.
void requireSameBytes(const tarn::kern::Model& model, quillon::nimbo::BinFormat format,
                      const std::filesystem::path& file);

/// What the four steps, one after the other, took.
struct RoundTripFigures {
  std::uintmax_t fileBytes = 0;
  double saveSeconds = 0;
  double loadSeconds = 0;
  double compareSeconds = 0;
  double saveAgainSeconds = 0;
};

/// Saves a model, loads the file into another one, compares the two, and compares what the loaded one is saved as with
/// the file. Throws RoundTripError, whatever went wrong.
RoundTripFigures roundTrip(const tarn::kern::Model& model, quillon::nimbo::BinFormat format,
                           const std::filesystem::path& file);

}  // namespace debian_packages
