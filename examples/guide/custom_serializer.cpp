// The program of docs/custom-serializer.md.

#include <iostream>
#include <sstream>
#include <stdexcept>

#include <bedrock/i18n.h>
#include <quillon/nimbo/BinParser.h>
#include <quillon/nimbo/BinSerializer.h>
#include <quillon/nimbo/CustomBinSerializerBase.h>
#include <tarn/kern/ModelCompare.h>
#include <tarn/kern/meta/PackageBuilder.h>

using namespace tarn::kern;

namespace {

// The C++ type of the values.
struct Money {
  std::int64_t cents = 0;
  friend bool operator==(const Money&, const Money&) = default;
};

// Its text form: what JSON, XML and stores hold.
std::u16string moneyToText(const Money& money) { return bedrock::i18n::utf8_to_ustring(std::to_string(money.cents)); }
Money moneyFromText(const std::u16string& text) { return Money{std::stoll(bedrock::i18n::to_string(text))}; }

meta::Package defineShop() {
  meta::PackageBuilder shop(u"shop");
  auto& money = shop.addPrimitive<Money>(u"Money", moneyToText, moneyFromText);
  auto& article = shop.addClass(u"Article");
  article.attribute(u"price", money).required();
  return shop.registerPackage();
}

// Its bytes: what the binary form holds. The three operations must agree to the byte.
class MoneySerializer final : public quillon::nimbo::CustomBinSerializerBase {
 public:
  using CustomBinSerializerBase::CustomBinSerializerBase;

  void serialize(quillon::nimbo::StreamOArchive& archive, const Value& value) const override {
    archive << value.get<Money>().cents;
  }
  Value parse(quillon::nimbo::StreamIArchive& archive) const override {
    return Value(ValueMeta(getType(), ValueFlags::Single), Money{read(archive)});
  }
  std::string parseToJSON(quillon::nimbo::StreamIArchive& archive) const override {
    return std::to_string(read(archive));
  }

 private:
  static std::int64_t read(quillon::nimbo::StreamIArchive& archive) {
    std::int64_t cents = 0;
    archive >> cents;
    return cents;
  }
};

int run() {
  defineShop();
  // It registers itself, for the whole process, and must live as long as models are saved and loaded.
  static const MoneySerializer serializer(meta::MetaRegistry::getInstance()->getType(u"shop.Money"));

  const Model model = Model::create(ModelSpec());
  const auto article =
      narrow<meta::Class>(meta::MetaRegistry::getInstance()->getType(u"shop.Article"))->instantiate(model, {});
  article->set(u"price", Money{1990});

  std::stringstream file;
  quillon::nimbo::BinSerializer().serialize(model->getTopLevelElements(), file, quillon::nimbo::BinFormat::Binary);
  quillon::nimbo::BinParser parser;
  parser.parse(file);
  if (!modelsEqual(model, parser.getModel())) throw std::logic_error("the price did not survive");
  return 0;
}

}  // namespace

int main() {
  try {
    return run();
  } catch (const std::exception& error) {
    std::cerr << "custom_serializer: " << error.what() << '\n';
    return 1;
  }
}
