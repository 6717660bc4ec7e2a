// The program of docs/printer.md.

#include <iostream>
#include <sstream>

#include <bedrock/i18n.h>
#include <quillon/nimbo/PrettyPrinter.h>
#include <tarn/kern/meta/PackageBuilder.h>

using namespace tarn::kern;

namespace {

// Shows what an element is called beside its class, and keeps passwords to itself.
class AccountPrinter final : public quillon::nimbo::PrettyPrinter {
 public:
  bool isPropertyToFullyHide(const ModelElement& element, const Property& property) const override {
    return property->getName() == u"password" || PrettyPrinter::isPropertyToFullyHide(element, property);
  }

  void emitElementEntry(std::ostream& os, const ModelElement& element, bool composite) override {
    PrettyPrinter::emitElementEntry(os, element, composite);
    os << " '" << bedrock::i18n::to_string(element->get<ustring>(u"name")) << "'";
  }
};

int run() {
  meta::PackageBuilder package(u"accounts");
  auto& account = package.addClass(u"Account");
  account.attribute(u"name", meta::StandardTypes::stringMeta).required();
  account.attribute(u"password", meta::StandardTypes::stringMeta);
  package.registerPackage();

  const Model model = Model::create(ModelSpec());
  const auto ada =
      narrow<meta::Class>(meta::MetaRegistry::getInstance()->getType(u"accounts.Account"))->instantiate(model, {});
  ada->set(u"name", u"Ada");
  ada->set(u"password", u"lovelace");

  std::ostringstream text;
  AccountPrinter().print(text, model);
  std::cout << text.str();
  const bool isFine =
      text.str().find("Account 'Ada' {") != std::string::npos && text.str().find("lovelace") == std::string::npos;
  return isFine ? 0 : 1;
}

}  // namespace

int main() {
  try {
    return run();
  } catch (const std::exception& error) {
    std::cerr << "printer: " << error.what() << '\n';
    return 1;
  }
}
