// Saves one model once, for safe_save_faults.py, which lets its system calls fail one after the other.
// usage: save_once PATH none|consistent|durable
// Exit status: 0 when the save was reported as done, 1 when an error was, with its text on standard error.
#include <cstdint>
#include <iostream>
#include <map>
#include <random>
#include <string>

#include <bedrock/i18n.h>

#include "TestWrapper.h"
#include "quillon/nimbo/SafeSave.h"

namespace {

using quillon::nimbo::Durability;
using quillon::nimbo::SafeFileError;
using quillon::nimbo::SavedForm;

/// The same bytes in every run, and more of them, compressed, than fit into one buffer.
tarn::kern::Model fixedModel() {
  const tarn::kern::Model model = tarn::kern::Model::create(tarn::kern::ModelSpec());
  boost::uuids::uuid uuid{};
  uuid.data[15] = 1;
  std::mt19937 random(7);  // NOLINT(cert-msc51-cpp): the point is that it is the same every time
  std::u16string title;
  while (title.size() < 100'000) title += static_cast<char16_t>(0x4E00 + random() % 20'000);
  testsupport::wrappingClass(u"Root")->instantiate(model, uuid)->set(u"title", title);
  return model;
}

}  // namespace

int main(int argc, char** argv) {
  const std::map<std::string, Durability> levels = {
      {"none", Durability::None}, {"consistent", Durability::Consistent}, {"durable", Durability::Durable}};
  if (argc != 3 || levels.count(argv[2]) == 0) {
    std::cerr << "usage: save_once PATH none|consistent|durable\n";
    return 2;
  }
  testsupport::TestWrapper wrapper;
  wrapper.attachModel(fixedModel(), u"");
  try {
    quillon::nimbo::safeSave(wrapper, bedrock::i18n::utf8_to_ustring(argv[1]), SavedForm::Binary, levels.at(argv[2]));
  } catch (const SafeFileError& error) {
    std::cerr << error.what() << '\n';
    return 1;
  }
  return 0;
}
