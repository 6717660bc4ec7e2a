// Names what those who build on the framework call, with arguments and results. Whoever puts another implementation of
// these headers in its place finds here what to offer; whoever changes a header finds here what others count on. Nearly
// all of it is checked by the compiler; the tests at the end run what cannot be seen in a type.

#include <cstdint>
#include <exception>
#include <memory>
#include <ostream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <boost/optional.hpp>
#include <boost/uuid/uuid.hpp>

#include <bedrock/except.h>
#include <bedrock/filesystem.h>
#include <bedrock/i18n.h>
#include <nimbo/messages.h>
#include <quillon/logging/Logger.h>
#include <resource_core/BaseMsgID.h>
#include <tarn/kern/Collections.h>
#include <tarn/kern/DateTimeUtils.h>
#include <tarn/kern/Errors.h>
#include <tarn/kern/Model.h>
#include <tarn/kern/ModelElement.h>
#include <tarn/kern/ReflectiveDataType.h>
#include <tarn/kern/StringToStringMap.h>
#include <tarn/kern/Transaction.h>
#include <tarn/kern/Value.h>
#include <tarn/kern/hashers.h>
#include <tarn/kern/meta/Class.h>
#include <tarn/kern/meta/Enum.h>
#include <tarn/kern/meta/MetaRegistry.h>
#include <tarn/kern/meta/Package.h>
#include <tarn/kern/meta/Property.h>
#include <tarn/kern/meta/StandardTypes.h>

namespace tarn::kern {
namespace {

using boost::posix_time::ptime;
using boost::uuids::uuid;

/// An argument that is only read, an object that is worked on, and a result that is a value, for the checks below.
template <class T>
const T& in();
template <class T>
T& on();
template <class T, class U>
inline constexpr bool kIs = std::is_same_v<T, U>;
template <class T, class U>
inline constexpr bool kIsButForConst = std::is_same_v<std::remove_cvref_t<T>, U>;

// --- Texts and other values from outside.

static_assert(kIs<ustring, std::basic_string<char16_t>>);
static_assert(kIs<bedrock::i18n::ustring, ustring>);

// --- Handles.

template <class Handle>
constexpr bool isHandle() {
  static_assert(std::is_nothrow_default_constructible_v<Handle>);
  static_assert(std::is_constructible_v<Handle, std::nullptr_t>);
  static_assert(std::is_constructible_v<Handle, typename Handle::Impl*>);
  static_assert(std::is_constructible_v<bool, const Handle&> && !std::is_convertible_v<const Handle&, bool>);
  static_assert(std::is_nothrow_copy_constructible_v<Handle> && std::is_nothrow_copy_assignable_v<Handle>);
  static_assert(std::is_nothrow_move_constructible_v<Handle> && std::is_nothrow_move_assignable_v<Handle>);
  static_assert(std::is_nothrow_destructible_v<Handle>);
  static_assert(kIs<decltype(in<Handle>().operator->()), typename Handle::Impl*>);
  static_assert(kIs<decltype(in<Handle>() == in<Handle>()), bool>);
  static_assert(kIs<decltype(in<Handle>() != in<Handle>()), bool>);
  static_assert(sizeof(Handle) == sizeof(void*), "one pointer to the shared record");
  return true;
}
static_assert(isHandle<Model>() && isHandle<ModelElement>() && isHandle<meta::Type>() && isHandle<meta::Class>() &&
              isHandle<meta::DataType>() && isHandle<meta::PrimitiveType>() && isHandle<meta::Enum>() &&
              isHandle<meta::EnumLiteral>() && isHandle<meta::Property>() && isHandle<meta::StructuredType>() &&
              isHandle<meta::Package>());

template <class Handle, class Base>
inline constexpr bool kExtends =
    std::is_convertible_v<const Handle&, const Base&>&& std::is_base_of_v<typename Base::Impl, typename Handle::Impl>;
static_assert(kExtends<meta::Class, meta::Type> && kExtends<meta::DataType, meta::Type> &&
              kExtends<meta::PrimitiveType, meta::Type> && kExtends<meta::Enum, meta::Type> &&
              kExtends<meta::StructuredType, meta::Type>);
static_assert(kExtends<meta::Class, meta::StructuredType> && kExtends<meta::DataType, meta::StructuredType>);
static_assert(kExtends<meta::Type, ModelElement> && kExtends<meta::Property, ModelElement> &&
              kExtends<meta::EnumLiteral, ModelElement> && kExtends<meta::Package, ModelElement>);
static_assert(kExtends<meta::Type, meta::NamedElement> && kExtends<meta::Property, meta::NamedElement> &&
              kExtends<meta::EnumLiteral, meta::NamedElement> && kExtends<meta::Property, meta::TypedElement>);
static_assert(kIs<decltype(narrow<meta::Class>(in<meta::Type>())), meta::Class>);

// --- Constants that callers pass as numbers.

static_assert(FindElementBehavior{1} == FindElementBehavior::Anywhere);
static_assert(CollisionResolution{1} == CollisionResolution::Replace);
static_assert(ValueFlags{1} == ValueFlags::Single);
static_assert(std::is_enum_v<TransactionResult>);

// --- Model.

static_assert(std::is_default_constructible_v<ModelSpec> && std::is_destructible_v<ModelSpec>);
static_assert(kIs<decltype(Model::create(in<ModelSpec>())), Model>);
static_assert(kIs<decltype(on<Model::Impl>().beginTransaction(false)), Transaction>);
static_assert(kIs<decltype(on<Model::Impl>().findElement(in<uuid>(), FindElementBehavior{1})), ModelElement>);
static_assert(kIs<decltype(on<Model::Impl>().getTopLevelElements()), std::vector<ModelElement>>);
static_assert(kIs<decltype(on<Model::Impl>().getAllElements(FindElementBehavior{1})), std::vector<ModelElement>>);
static_assert(kIs<decltype(on<Model::Impl>().getUsedPackageUris()), std::vector<ustring>>);
static_assert(kIs<decltype(on<Model::Impl>().getDataSource()), datasource::ActiveDataSource*>);
static_assert(kIs<decltype(on<Model::Impl>().resetDataSource()), void>);
static_assert(kIs<decltype(on<Model::Impl>().destroy()), void>);

// --- ModelElement.

using ElementImplOfModel = ModelElement::Impl;
static_assert(kIs<decltype(ModelElement::metaClass()), const meta::Class&>);
static_assert(kIs<std::invoke_result_t<std::hash<ModelElement>, const ModelElement&>, std::size_t> &&
              sizeof(std::size_t) == sizeof(std::uint64_t));
static_assert(std::is_polymorphic_v<ElementImplOfModel>);
static_assert(kIs<decltype(in<ElementImplOfModel>().getMetaClass()), const meta::Class&>);
static_assert(kIs<decltype(in<meta::Type::Impl>().getMetaClass()), const meta::Class&>);
static_assert(
    kIs<decltype(on<ElementImplOfModel>().getPropertyValue(in<meta::Property>(), in<ReflectionPrivateTag>())), Value>);
static_assert(kIs<decltype(on<ElementImplOfModel>().setPropertyValue(in<meta::Property>(), in<Value>(),
                                                                     in<ReflectionPrivateTag>())),
                  void>);
static_assert(kIs<decltype(on<ElementImplOfModel>().container()), ModelElement>);
static_assert(kIs<decltype(on<ElementImplOfModel>().getModel()), Model>);
static_assert(kIs<decltype(on<ElementImplOfModel>().destroy()), void>);
static_assert(std::is_base_of_v<ElementImpl, ElementImplOfModel>);
static_assert(kIsButForConst<decltype(on<ElementImpl>().getUuid()), uuid>);
static_assert(kIs<decltype(ReflectionPrivateTag::PUBLIC_ACCESS), const ReflectionPrivateTag>);
static_assert(kIs<decltype(ReflectionPrivateTag::PRIVILEGED_ACCESS), const ReflectionPrivateTag>);

// --- Value.

static_assert(std::is_copy_constructible_v<Value> && std::is_copy_assignable_v<Value>);
static_assert(std::is_nothrow_move_constructible_v<Value> && std::is_nothrow_move_assignable_v<Value>);
static_assert(std::is_nothrow_destructible_v<Value>);
static_assert(kIs<decltype(in<Value>() == in<Value>()), bool>);
static_assert(kIs<decltype(in<Value>() <=> in<Value>()), std::strong_ordering>);
static_assert(kIs<std::invoke_result_t<std::hash<Value>, const Value&>, std::size_t>);
static_assert(kIs<decltype(Value::createEmptyValue(in<meta::Type>(), true)), Value>);
static_assert(kIs<decltype(Value::createEnumValue(in<meta::EnumLiteral>())), Value>);
static_assert(kIs<decltype(in<Value>().toReflectiveDataType()), ReflectiveDataType>);
static_assert(kIs<decltype(in<Value>().getMeta()), const ValueMeta&>);
static_assert(kIs<decltype(in<Value>().hasObject()), bool>);

static_assert(std::is_constructible_v<ValueMeta, const meta::Type&, ValueFlags> && std::is_destructible_v<ValueMeta>);
static_assert(kIs<decltype(in<ValueMeta>().getType()), const meta::Type&>);
static_assert(kIs<decltype(in<ValueMeta>().getEntryType()), ValueMeta>);
static_assert(kIs<decltype(ValueMeta::upper), std::uint32_t> && kIs<decltype(ValueMeta::isCollection), bool>);

/// Built from an object, from a meta and an object, and read in the three ways.
template <class T>
constexpr bool isHeldByValues() {
  static_assert(std::is_constructible_v<Value, T>);
  static_assert(std::is_constructible_v<Value, const ValueMeta&, T>);
  static_assert(kIs<decltype(in<Value>().get<T>()), T>);
  static_assert(kIs<decltype(in<Value>().getOptional<T>()), boost::optional<T>>);
  if constexpr (!kIs<T, ModelElement>) static_assert(kIs<decltype(in<Value>().peek<T>()), const T*>);
  return true;
}
static_assert(isHeldByValues<ustring>() && isHeldByValues<std::string>() && isHeldByValues<std::int32_t>() &&
              isHeldByValues<std::int8_t>() && isHeldByValues<std::int16_t>() && isHeldByValues<std::int64_t>() &&
              isHeldByValues<std::uint8_t>() && isHeldByValues<std::uint16_t>() && isHeldByValues<std::uint64_t>() &&
              isHeldByValues<std::uint32_t>() && isHeldByValues<double>() && isHeldByValues<bool>() &&
              isHeldByValues<uuid>() && isHeldByValues<ptime>() && isHeldByValues<StringToStringMap>() &&
              isHeldByValues<ModelElement>() && isHeldByValues<ReflectiveDataType>());
static_assert(!std::is_constructible_v<Value, const char*>, "it would be taken for a bool");
static_assert(kIs<decltype(in<Value>().toElementCollection()), ElementCollection&>);
static_assert(kIs<decltype(in<Value>().toPrimitiveCollection()), PrimitiveCollection&>);
static_assert(kIs<decltype(in<Value>().toStringToStringMap()), StringToStringMap&>);

// --- ReflectiveDataType.

static_assert(std::is_constructible_v<ReflectiveDataType, const meta::DataType&>);
static_assert(std::is_nothrow_destructible_v<ReflectiveDataType>);
static_assert(kIs<decltype(in<ReflectiveDataType>().getPropertyValue(in<meta::Property>())), Value>);
static_assert(kIs<decltype(on<ReflectiveDataType>().setPropertyValue(in<meta::Property>(), in<Value>())), void>);
static_assert(kIs<decltype(in<ReflectiveDataType>().toNonReflectiveDataTypeValue()), boost::optional<Value>>);

// --- Collections.

using Operation = AbstractOwnedCollection::Operation;
static_assert(std::is_constructible_v<Operation, AbstractOwnedCollection&> && std::is_destructible_v<Operation>);
static_assert(kIs<decltype(on<Operation>().commit()), void>);
static_assert(kIs<decltype(AbstractOwnedCollection::getGiveUpDescriptor()), const OCDChangeDescriptor&>);
static_assert(kIs<decltype(on<AbstractOwnedCollection>().modifying(in<OCDChangeDescriptor>())), void>);
static_assert(std::is_base_of_v<AbstractOwnedCollection, PrimitiveCollection> &&
              std::is_base_of_v<AbstractOwnedCollection, ElementCollection>);
static_assert(std::has_virtual_destructor_v<AbstractOwnedCollection>);

static_assert(kIs<decltype(in<PrimitiveCollection>().size()), std::size_t>);
static_assert(kIs<decltype(in<PrimitiveCollection>().empty()), bool>);
static_assert(kIs<decltype(in<PrimitiveCollection>().getStorageKind()), std::uint32_t>);
static_assert(PrimitiveCollection::kContiguous == 1);
static_assert(kIs<decltype(in<PrimitiveCollection>().getAllValues()), std::vector<Value>>);
static_assert(kIs<decltype(on<PrimitiveCollection>().addValue(in<Value>())), void>);

static_assert(kIs<decltype(in<ElementCollection>().empty()), bool>);
static_assert(kIs<decltype(on<ElementCollection>().addElement(in<ModelElement>())), void>);
static_assert(kIs<decltype(in<ElementCollection>().getAllElements()), std::vector<ModelElement>>);

/// The contiguous storage of a collection of T, and its range assignment.
template <class T>
constexpr bool isHeldContiguously() {
  using Collection = TypedCollection<T>;
  static_assert(std::is_base_of_v<PrimitiveCollection, Collection>);
  static_assert(kIs<decltype(in<Collection>().storage()), const std::vector<T>&>);
  static_assert(kIs<decltype(on<Collection>().assign(std::declval<typename std::vector<T>::const_iterator>(),
                                                     std::declval<typename std::vector<T>::const_iterator>())),
                    void>);
  static_assert(kIs<decltype(on<Collection>().assign(std::declval<const T*>(), std::declval<const T*>())), void>);
  return true;
}
static_assert(isHeldContiguously<ustring>() && isHeldContiguously<std::string>() &&
              isHeldContiguously<std::int32_t>() && isHeldContiguously<std::int8_t>() &&
              isHeldContiguously<std::int16_t>() && isHeldContiguously<std::int64_t>() &&
              isHeldContiguously<std::uint8_t>() && isHeldContiguously<std::uint16_t>() &&
              isHeldContiguously<std::uint64_t>() && isHeldContiguously<std::uint32_t>() &&
              isHeldContiguously<double>() && isHeldContiguously<bool>() && isHeldContiguously<uuid>());

// --- StringToStringMap.

static_assert(
    kIs<decltype(on<StringToStringMap>().insert(in<ustring>(), in<ustring>(), CollisionResolution{1})), void>);
static_assert(kIs<decltype(on<StringToStringMap>().assign(in<StringToStringMap>())), void>);
static_assert(kIs<decltype(in<StringToStringMap>().size()), std::size_t>);
static_assert(kIs<decltype(in<StringToStringMap>().empty()), bool>);
static_assert(kIs<decltype(in<StringToStringMap>().begin()), decltype(in<StringToStringMap>().end())>);
static_assert(kIs<decltype((*in<StringToStringMap>().begin()).first), const ustring>);
static_assert(kIs<decltype(((*in<StringToStringMap>().begin()).second)), const ustring&>);

// --- Transaction.

static_assert(kIs<decltype(on<Transaction>().commit(in<boost::optional<Value>>())), TransactionResult>);
static_assert(kIs<decltype(on<Transaction>().commit(boost::none)), TransactionResult>);
static_assert(kIs<decltype(on<Transaction>().rollBack()), TransactionResult>);
static_assert(std::is_nothrow_destructible_v<Transaction> && std::is_nothrow_move_constructible_v<Transaction>);

// --- The meta-model.

static_assert(kIs<decltype(meta::MetaRegistry::getInstance()), meta::MetaRegistry*>);
static_assert(kIs<decltype(on<meta::MetaRegistry>().getPackageForFamily(in<ustring>())), meta::Package>);
static_assert(kIs<decltype(on<meta::MetaRegistry>().getType(in<ustring>())), meta::Type>);
static_assert(kIs<decltype(on<meta::MetaRegistry>().isVersionCurrentForFamily(in<ustring>())), bool>);
static_assert(kIs<decltype(meta::MetaRegistry::schemaBaseUri()), const ustring&>);
static_assert(kIs<decltype(meta::internal::getPrimitiveTypeFromMetaRegistry(std::declval<const char16_t*>())),
                  meta::PrimitiveType>);
static_assert(kIs<decltype(internal::isEnumType(in<meta::Type>())), bool>);
static_assert(kIs<decltype(meta::Class::metaClass()), const meta::Class&> &&
              kIs<decltype(meta::DataType::metaClass()), const meta::Class&> &&
              kIs<decltype(meta::Enum::metaClass()), const meta::Class&>);
static_assert(kIsButForConst<decltype(in<meta::Type::Impl>().getQualifiedName()), ustring>);
static_assert(kIsButForConst<decltype(in<meta::Type::Impl>().getOwningPackage()), meta::Package>);
static_assert(kIs<decltype(in<meta::Type::Impl>().conformsTo(std::declval<meta::Type>())), bool>);
static_assert(kIs<decltype(in<meta::NamedElement::Impl>().getName()), const ustring&>);
static_assert(kIs<decltype(in<meta::TypedElement::Impl>().getType()), const meta::Type&>);
static_assert(kIsButForConst<decltype(in<meta::Package::Impl>().getQualifiedName()), ustring>);
static_assert(kIs<decltype(in<meta::StructuredType::Impl>().getProperty(in<ustring>())), meta::Property>);
static_assert(kIs<decltype(in<meta::StructuredType::Impl>().getOwnedAttributes()),
                  const meta::ElementMap<ustring, meta::Property>&>);
static_assert(kIs<decltype(in<meta::Class::Impl>().getSuperclass()), const meta::Class&>);
static_assert(kIs<decltype(in<meta::Class::Impl>().instantiate(in<Model>(), in<uuid>())), ModelElement>);
static_assert(kIsButForConst<decltype(in<meta::Class::Impl>().getAllProperties()), std::vector<meta::Property>>);
static_assert(
    kIsButForConst<decltype(in<meta::Class::Impl>().getAllPrimitiveProperties()), std::vector<meta::Property>>);
static_assert(kIsButForConst<decltype(in<meta::Class::Impl>().getAllClassProperties()), std::vector<meta::Property>>);
static_assert(kIs<decltype(in<meta::Enum::Impl>().getLiterals()), const meta::ElementMap<ustring, meta::EnumLiteral>&>);
static_assert(kIs<decltype(in<meta::Enum::Impl>().getLiteral(std::int64_t{0})), meta::EnumLiteral>);
static_assert(kIsButForConst<decltype(in<meta::Property::Impl>().defaultValue()), boost::optional<Value>>);
static_assert(kIs<decltype(in<meta::Property::Impl>().getOpposite()), const meta::Property&>);
static_assert(kIs<decltype(in<meta::Property::Impl>().getQualifiedBy()), const meta::Property&>);
static_assert(kIs<decltype(meta::Property::Impl::lower), std::uint32_t> &&
              kIs<decltype(meta::Property::Impl::upper), std::uint32_t> &&
              kIs<decltype(meta::Property::Impl::isComposite), bool> &&
              kIs<decltype(meta::Property::Impl::isOmitted), bool>);

/// A member of StandardTypes: its name, the filling step that every user applies, and its use as a type.
template <class Member>
constexpr bool isStandardType(const Member&, std::u16string_view name) {
  static_assert(std::is_convertible_v<const Member&, meta::PrimitiveType>);
  static_assert(std::is_constructible_v<bool, const Member&>);
  static_assert(std::is_assignable_v<Member&, meta::PrimitiveType>);
  static_assert(kIs<decltype(in<Member>() == in<meta::Type>()), bool>);
  static_assert(kIs<decltype(in<meta::Type>() == in<Member>()), bool>);
  return Member::name() == name;
}
using Standard = meta::StandardTypes;
static_assert(isStandardType(Standard::stringMeta, u"String"));
static_assert(isStandardType(Standard::stdstringMeta, u"StdString"));
static_assert(isStandardType(Standard::integerMeta, u"Integer"));
static_assert(isStandardType(Standard::integer8Meta, u"Integer8"));
static_assert(isStandardType(Standard::integer16Meta, u"Integer16"));
static_assert(isStandardType(Standard::integer64Meta, u"Integer64"));
static_assert(isStandardType(Standard::uinteger8Meta, u"UInteger8"));
static_assert(isStandardType(Standard::uinteger16Meta, u"UInteger16"));
static_assert(isStandardType(Standard::uinteger64Meta, u"UInteger64"));
static_assert(isStandardType(Standard::unlimitedNaturalMeta, u"UnlimitedNatural"));
static_assert(isStandardType(Standard::realMeta, u"Real"));
static_assert(isStandardType(Standard::booleanMeta, u"Boolean"));
static_assert(isStandardType(Standard::uuidMeta, u"UUID"));
static_assert(isStandardType(Standard::dateTimeMeta, u"DateTime"));
static_assert(isStandardType(Standard::stringToStringMapMeta, u"StringToStringMap"));

// --- Conversions and hashes.

using Conversion = DateTimeUtils::Conversion;
static_assert(kIs<decltype(Conversion::toUstring(in<ptime>())), ustring>);
static_assert(kIs<decltype(Conversion::fromUstring(in<ustring>())), ptime>);
static_assert(kIs<std::invoke_result_t<services::hashers::NimboHasher<uuid>, const uuid&>, std::uint64_t>);
static_assert(kIs<std::invoke_result_t<services::hashers::NimboHasher<ptime>, const ptime&>, std::uint64_t>);

static_assert(kIs<decltype(bedrock::i18n::ustring_to_utf8(in<ustring>())), std::string>);
static_assert(kIs<decltype(bedrock::i18n::utf8_to_ustring(in<std::string>())), ustring>);
static_assert(kIs<decltype(bedrock::i18n::to_string(in<ustring>())), std::string>);
static_assert(kIs<decltype(bedrock::i18n::operator<<(on<std::ostream>(), in<ustring>())), std::ostream&>);

// --- Files.

static_assert(kIs<decltype(bedrock::filesystem::exists(in<ustring>())), bool> &&
              !noexcept(bedrock::filesystem::exists(in<ustring>())));
static_assert(
    kIs<decltype(bedrock::filesystem::detail::make_native_access_form_with_cleanup_i18n(in<ustring>())), std::wstring>);
using InStream = bedrock::filesystem::basic_ifstream<char>;
using OutStream = bedrock::filesystem::basic_ofstream<char>;
static_assert(std::is_constructible_v<InStream, const ustring&, std::ios_base::openmode> &&
              std::is_base_of_v<std::istream, InStream>);
static_assert(std::is_constructible_v<OutStream, const ustring&, std::ios_base::openmode> &&
              std::is_base_of_v<std::ostream, OutStream>);

// --- The log.

using quillon::logging::internal::Logger;
using quillon::logging::internal::LogStream;
static_assert(kIs<decltype(Logger::logger(0U)), Logger&>);
static_assert(kIs<decltype(on<Logger>().debug(false)), LogStream>);
static_assert(kIs<decltype(on<LogStream>() << "text"), LogStream&>);
static_assert(kIs<decltype(on<LogStream>() << in<std::string>()), LogStream&>);
static_assert(kIs<decltype(Logger::getLevel()), int> && kIs<decltype(Logger::setLevel(300)), void>);

// --- Exceptions.

using CastFailure = bedrock::except::Exception<nimbo::messages::CannotCastIncompatibleTypes, std::exception>;
static_assert(std::is_base_of_v<bedrock::except::IException, bedrock::except::IUserException>);
static_assert(std::is_base_of_v<bedrock::except::IUserException, bedrock::except::IMsgIDException>);
static_assert(std::is_base_of_v<bedrock::except::IMsgIDException, CastFailure> &&
              std::is_base_of_v<std::exception, CastFailure>);
static_assert(std::is_base_of_v<resource_core::BaseMsgID, nimbo::messages::CannotCastIncompatibleTypes>);
static_assert(std::is_constructible_v<nimbo::messages::CannotCastIncompatibleTypes, ustring>);
static_assert(std::is_nothrow_copy_constructible_v<CastFailure>);
static_assert(std::has_virtual_destructor_v<bedrock::except::IMsgIDException>);

/// A class of an application that joins the chain: it sees the protected parts and overrides the virtual ones.
class AppFailure final : public bedrock::except::IMsgIDException {
 public:
  explicit AppFailure(resource_core::BaseMsgID message) : fMessage(std::move(message)) {}

  [[nodiscard]] ustring GetUnicodeMessageTxt() const override { return u"text"; }
  [[nodiscard]] const resource_core::BaseMsgID& getMsgID() const noexcept override { return fMessage; }
  [[nodiscard]] const char* what() const noexcept override { return "text"; }

  [[nodiscard]] std::string errorId() const {
    static_assert(kIs<decltype(get_error_id(in<resource_core::BaseMsgID>())), std::string>);
    return get_error_id(fMessage);
  }
  [[nodiscard]] std::string narrowed() const {
    static_assert(kIs<decltype(convert_str(in<ustring>())), std::string>);
    static_assert(kIs<decltype(convert_str(in<std::string>())), ustring>);
    return convert_str(toUstring());
  }

 protected:
  [[nodiscard]] std::string convert_str(const ustring&) const override { return "narrow"; }
  [[nodiscard]] ustring convert_str(const std::string&) const override { return u"wide"; }

 private:
  [[nodiscard]] ustring ToUstringImpl() const override { return u"for the user"; }
  resource_core::BaseMsgID fMessage;
};
static_assert(std::is_copy_constructible_v<AppFailure>);

// --- What has to be run.

TEST(PublicInterface, LetsApplicationsJoinTheChainOfExceptions) {
  const AppFailure failure({"app:messages", "DiskFull", {u"/data"}});
  EXPECT_EQ(failure.errorId(), "DiskFull");
  EXPECT_EQ(failure.narrowed(), "narrow");
  EXPECT_EQ(failure.toUstring(), u"for the user");
  EXPECT_THROW(throw AppFailure(failure), bedrock::except::IException);
}

TEST(PublicInterface, TellsTheCastFailureByCatalogueIdentifierAndArgument) {
  try {
    static_cast<void>(Value(u"text").get<std::int32_t>());
    FAIL() << "a String was read as an Integer";
  } catch (const CastFailure& failure) {
    EXPECT_EQ(failure.getMsgID().catalogue(), "nimbo:messages");
    EXPECT_EQ(failure.getMsgID().identifier(), "CannotCastIncompatibleTypes");
    EXPECT_EQ(failure.getMsgID().arguments(), std::vector<ustring>{u"String"});
  }
}

template <class Handle>
void expectHarmlessWhenNull() {
  const Handle null(nullptr);
  EXPECT_FALSE(null);
  EXPECT_FALSE(Handle());
  EXPECT_EQ(null, Handle());
  Handle copy(null);
  Handle assigned;
  assigned = copy;
  Handle moved(std::move(copy));
  moved = std::move(assigned);
  EXPECT_FALSE(moved);
}

TEST(PublicInterface, KeepsNullHandlesHarmless) {
  expectHarmlessWhenNull<Model>();
  expectHarmlessWhenNull<ModelElement>();
  expectHarmlessWhenNull<meta::Type>();
  expectHarmlessWhenNull<meta::Class>();
  expectHarmlessWhenNull<meta::DataType>();
  expectHarmlessWhenNull<meta::PrimitiveType>();
  expectHarmlessWhenNull<meta::Enum>();
  expectHarmlessWhenNull<meta::EnumLiteral>();
  expectHarmlessWhenNull<meta::Property>();
  expectHarmlessWhenNull<meta::StructuredType>();
  expectHarmlessWhenNull<meta::Package>();
}

TEST(PublicInterface, LeavesTheSourceOfAMoveNull) {
  meta::Class type = ModelElement::metaClass();
  const meta::Class moved(std::move(type));
  EXPECT_EQ(moved, ModelElement::metaClass());
  EXPECT_FALSE(type);  // NOLINT(bugprone-use-after-move): that is the promise
}

TEST(PublicInterface, FillsEveryStandardType) {
  const auto expectFilled = [](const auto& member) {
    EXPECT_TRUE(member);
    EXPECT_EQ(meta::PrimitiveType(member), meta::internal::getPrimitiveTypeFromMetaRegistry(member.name()));
    EXPECT_EQ(member->getQualifiedName(), member.name());
  };
  ASSERT_NE(meta::MetaRegistry::getInstance(), nullptr);
  expectFilled(Standard::stringMeta);
  expectFilled(Standard::stdstringMeta);
  expectFilled(Standard::integerMeta);
  expectFilled(Standard::integer8Meta);
  expectFilled(Standard::integer16Meta);
  expectFilled(Standard::integer64Meta);
  expectFilled(Standard::uinteger8Meta);
  expectFilled(Standard::uinteger16Meta);
  expectFilled(Standard::uinteger64Meta);
  expectFilled(Standard::unlimitedNaturalMeta);
  expectFilled(Standard::realMeta);
  expectFilled(Standard::booleanMeta);
  expectFilled(Standard::uuidMeta);
  expectFilled(Standard::dateTimeMeta);
  expectFilled(Standard::stringToStringMapMeta);
}

TEST(PublicInterface, LetsErrorsBeCopied) {
  const KernelError first("first");
  KernelError copy(first);
  EXPECT_STREQ(copy.what(), "first");
  const KernelError second("second");
  copy = second;
  EXPECT_STREQ(copy.what(), "second");
}

TEST(PublicInterface, EndsTheWalkUpTheClassesAtTheRoot) { EXPECT_FALSE(ModelElement::metaClass()->getSuperclass()); }

}  // namespace
}  // namespace tarn::kern
