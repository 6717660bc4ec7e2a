#pragma once

#include <string>
#include <unordered_set>
#include <vector>

#include <tarn/kern/Collections.h>
#include <tarn/kern/ModelElement.h>

#include "../ElementRecord.h"
#include "JsonText.h"
#include "JsonWritePlan.h"

namespace tarn::kern::io {

/// Writes one JSON document of elements. It reads the slots of the elements in place: most properties are plain values,
/// and a Value costs several times what writing the text does.
///
/// Elements and data values nest to any depth; the two ways down pass callDeep.
class JsonModelWriter {
 public:
  JsonModelWriter(std::string& out, bool skipsDefaults) : fText(out), fSkipsDefaults(skipsDefaults) {}

  void write(const std::vector<ModelElement>& elements);

 private:
  struct Members;  // of one object in the making

  void packageUris(const std::vector<ModelElement>& elements);
  void entries(const std::vector<ModelElement>& elements);

  void element(const internal::ElementRecord& record);
  void reference(const ModelElement::Impl* target);
  void property(Members& members, const internal::ElementRecord& record, const JsonWriteProperty& plan);
  void single(Members& members, const internal::ElementRecord& record, const JsonWriteProperty& plan);
  void target(Members& members, const internal::ElementRecord& record, const JsonWriteProperty& plan);
  void targets(Members& members, const internal::ElementRecord& record, const JsonWriteProperty& plan);

  void dataContents(const ReflectiveDataType& data);
  void data(const ReflectiveDataType& data);
  void property(Members& members, const ReflectiveDataType& data, const JsonWriteProperty& plan);
  void single(Members& members, const ReflectiveDataType& data, const JsonWriteProperty& plan);
  void collection(Members& members, const ReflectiveDataType& data, const JsonWriteProperty& plan);

  template <class T>
  void plain(Members& members, const JsonWriteProperty& plan, const T* object);
  void boxed(Members& members, const JsonWriteProperty& plan, const Value& value);
  void absent(Members& members, const JsonWriteProperty& plan);
  void map(Members& members, const JsonWriteProperty& plan, const StringToStringMap& map);
  template <class T>
  void vector(Members& members, const JsonWriteProperty& plan, const std::vector<T>& entries);
  template <class Range>
  void values(Members& members, const JsonWriteProperty& plan, const Range& entries);

  template <class T>
  void object(const JsonWriteProperty& plan, const T& object);
  void enumNumber(const JsonWriteProperty& plan, std::int64_t number);
  /// One entry of a collection that is not contiguous, or a value that is held as a Value.
  void value(const JsonWriteProperty& plan, const Value& value);

  JsonText fText;
  JsonWritePlans fPlans;
  bool fSkipsDefaults;
};

}  // namespace tarn::kern::io
