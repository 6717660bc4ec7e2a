#pragma once

#include <functional>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "Chain.h"

namespace tarn::kern::evolution::internal {

/// What a step works on: an element, or a value of a data type.
struct Subject {
  io::RawElement* element = nullptr;  // one of the two
  io::RawData* data = nullptr;
  io::RawPosition position;

  [[nodiscard]] ustring& typeName() const noexcept { return element != nullptr ? element->typeName : data->typeName; }
  [[nodiscard]] std::vector<io::RawProperty>& properties() const noexcept {
    return element != nullptr ? element->properties : data->properties;
  }
};

/// Which other content a step may touch decides when it runs.
enum class Reach : unsigned char {
  Own,       ///< the subject's own properties only: any number of such steps run in one pass
  TopDown,   ///< what is inside, too: containers come before what they contain
  BottomUp,  ///< the other way round
};

struct NameChange {
  ustring from;
  ustring to;
  bool isPackage = false;  // all names that begin with `from` and a dot
  bool isRemoval = false;

  /// The name afterwards; nothing when the type is gone.
  [[nodiscard]] std::optional<ustring> apply(const ustring& name) const;
};

/// A step with all that it needs to run.
struct CompiledStep {
  Reach reach = Reach::Own;
  std::unordered_set<ustring> affected;  // names of types as they are at that moment
  std::function<void(const Subject&)> action;
  std::optional<NameChange> change;
  std::vector<ustring> made;  // types of which the action may make elements or values
};

/// @param before the moment that the step starts from.
[[nodiscard]] CompiledStep compile(const Step& step, const Era& era, const Moment& before);

/// Steps that run in one walk over the content. They are tried out once per type name; after that an element costs one
/// lookup and the actions that concern it.
class Pass {
 public:
  /// What happens to subjects of one type.
  struct Course {
    std::vector<const CompiledStep*> steps;
    std::optional<ustring> finalName;  // nothing: the subject goes
  };

  explicit Pass(Reach reach) noexcept : fReach(reach) {}

  [[nodiscard]] Reach reach() const noexcept { return fReach; }
  void add(CompiledStep step) { fSteps.push_back(std::move(step)); }
  [[nodiscard]] const Course& courseOf(const ustring& typeName);
  /// Runs the steps of the subject's course. @pre the course keeps the subject.
  static void run(const Course& course, const Subject& subject);
  [[nodiscard]] bool concerns(const std::unordered_set<ustring>& typeNames);
  /// The types of which its steps may make elements or values.
  void addMade(std::unordered_set<ustring>& typeNames) const;

 private:
  Reach fReach;
  std::vector<CompiledStep> fSteps;
  std::unordered_map<ustring, Course> fCourses;
};

/// The passes for all eras, in order.
[[nodiscard]] std::vector<Pass> passesOf(const History& history);

/// The words that say where in a document something is: `"library.Book" <uuid>, property "title", line 3, column 5`.
[[nodiscard]] std::string placeOf(const Subject& subject, std::u16string_view property,
                                  const io::RawPosition& position);

}  // namespace tarn::kern::evolution::internal
