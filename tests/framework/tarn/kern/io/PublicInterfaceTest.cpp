// What those who build on the framework call of its text formats and its store, with arguments and results: the other
// half of tarn/kern/PublicInterfaceTest.cpp. The compiler does the checking.

#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include <strata/SQLiteUri.h>
#include <strata_datasource/DataSource.h>
#include <tarn/kern/Model.h>
#include <tarn/kern/datasource/ActiveDataSource.h>
#include <tarn/kern/io/JSONParser.h>
#include <tarn/kern/io/JSONSerializer.h>
#include <tarn/kern/io/XmlParser.h>
#include <tarn/kern/io/XmlSerializer.h>

namespace tarn::kern {
namespace {

template <class T>
const T& in();
template <class T>
T& on();
template <class T, class U>
inline constexpr bool kIs = std::is_same_v<T, U>;

// --- Text formats.

template <class T>
inline constexpr bool kIsParser =
    std::is_default_constructible_v<T>&& std::has_virtual_destructor_v<T>&& std::is_base_of_v<io::Parser, T>;
static_assert(kIsParser<io::JSONParser>);
static_assert(kIsParser<io::XmlParser>);

template <class T>
inline constexpr bool kIsSerializer =
    std::is_default_constructible_v<T>&& std::has_virtual_destructor_v<T>&& std::is_base_of_v<io::Serializer, T>;
static_assert(kIsSerializer<io::JSONSerializer>);
static_assert(kIsSerializer<io::XmlSerializer>);

static_assert(kIs<decltype(on<io::Parser>().getCustomizer()), io::ParseCustomizer*>);
static_assert(kIs<decltype(on<io::ParseCustomizer>().setEvolveIfNeeded(true)), void>);
static_assert(kIs<decltype(on<io::Parser>().setModel(in<Model>())), void>);
static_assert(kIs<decltype(on<io::Parser>().parseString(in<std::string>())), void>);

static_assert(kIs<decltype(on<io::Serializer>().getCustomizer()), io::SerializeCustomizer*>);
static_assert(kIs<decltype(on<io::SerializeCustomizer>().setShouldSkipDefaultValues(true)), void>);
static_assert(kIs<decltype(io::SerializationOutput::forUTF8String(on<std::string>())), io::SerializationOutput>);
static_assert(std::is_destructible_v<io::SerializationOutput>);
static_assert(kIs<decltype(on<io::Serializer>().serialize(in<Model>(), in<io::SerializationOutput>())), void>);
static_assert(
    kIs<decltype(on<io::Serializer>().serialize(in<std::vector<ModelElement>>(), in<io::SerializationOutput>())),
        void>);

// --- The store.

using Source = datasource::DataSource;
static_assert(kIs<decltype(strata::Uri::createSQLite()), strata::SQLiteUri>);
static_assert(kIs<decltype(on<strata::SQLiteUri>().setLocation(in<std::string>())), strata::SQLiteUri&>);
static_assert(std::has_virtual_destructor_v<strata::SQLiteUri> && std::is_base_of_v<strata::Uri, strata::SQLiteUri>);
static_assert(kIs<decltype(strata_datasource::DataSource::create(
                      in<strata::Uri>(), in<Model>(), static_cast<Source::ToModelSync>(0),
                      static_cast<Source::ToDataSourceSync>(1), static_cast<Source::SyncTiming>(0))),
                  strata_datasource::DataSource*>);
static_assert(kIs<decltype(in<Model>()->getDataSource()), datasource::ActiveDataSource*>);
static_assert(kIs<decltype(in<Model>()->resetDataSource()), void>);
static_assert(std::is_base_of_v<datasource::ActiveDataSource, strata_datasource::DataSource>);

using Query = datasource::DataSourceQuery;
static_assert(kIs<decltype(on<datasource::ActiveDataSource>().createQuery()), std::unique_ptr<Query>>);
static_assert(std::has_virtual_destructor_v<Query> && std::is_polymorphic_v<datasource::ActiveDataSource>);
using Condition = decltype(on<Query>().classCondition(in<meta::Class>(), true));
static_assert(kIs<decltype(on<Query>().setCondition(in<Condition>())), void>);
static_assert(kIs<decltype(on<Query>().fetch({})), std::vector<ModelElement>>);

TEST(PublicInterfaceOfTextAndStore, IsOfferedWithTheseArgumentsAndResults) {
  // The numbers that callers pass have their meaning.
  EXPECT_EQ(static_cast<int>(Source::ToModelSync::OnTouch), 0);
  EXPECT_EQ(static_cast<int>(Source::ToDataSourceSync::Changes), 1);
  EXPECT_EQ(static_cast<int>(Source::SyncTiming::OnCommit), 0);
}

TEST(PublicInterfaceOfTextAndStore, TextIsCompleteWhenTheOutputIsGone) {
  std::string text;
  {
    const io::SerializationOutput output = io::SerializationOutput::forUTF8String(text);
    io::JSONSerializer().serialize(Model::create(ModelSpec()), output);
  }
  EXPECT_EQ(text, R"({"version":"1.0","packageUris":[],"entries":[]})");
}

}  // namespace
}  // namespace tarn::kern
