#include "quillon/nimbo/SafeSave.h"

#include <ostream>

namespace quillon::nimbo {

namespace detail {

struct WrapperAccess {
  static void writeBinFile(const internal::NimboModelWrapperBase& wrapper, std::ostream& stream) {
    wrapper.writeBinFile(stream);
  }
};

}  // namespace detail

namespace {

void writeForm(const internal::NimboModelWrapperBase& wrapper, SavedForm form, std::ostream& stream) {
  switch (form) {
    case SavedForm::Binary:
      detail::WrapperAccess::writeBinFile(wrapper, stream);
      break;
    case SavedForm::JSON:
      stream << wrapper.serializeToJSON();
      break;
    case SavedForm::XML:
      stream << wrapper.serializeToXML();
      break;
  }
}

}  // namespace

void safeSave(const internal::NimboModelWrapperBase& wrapper, const std::u16string& path, SavedForm form,
              Durability durability) {
  SafeFile file(path, durability);
  writeForm(wrapper, form, file.stream());
  file.commit();
}

}  // namespace quillon::nimbo
