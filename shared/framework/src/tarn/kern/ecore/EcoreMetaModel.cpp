#include <mutex>
#include <sstream>
#include <string>
#include <string_view>

#include <tarn/kern/ecore/EcoreImporter.h>
#include <tarn/kern/meta/MetaRegistry.h>

#include "EcoreTypes.h"

// Ecore's own meta-model, as a table that the importer reads like any other.
namespace tarn::kern::ecore {

namespace {

/// A line that begins in the first column is a class: name, flags (a: abstract, m: an entry of a map), superclass or
/// "-". The others are its features: name, type, then words: `*` many-valued, `1` required, `own` containment, `loose`
/// not resolving proxies, `derived` (volatile, transient, derived and not changeable), `transient`, `volatile`, `fixed`
/// not changeable, `unset` unsettable, `=x` default, `<>x` the opposite feature of the type.
constexpr std::string_view kClasses = R"(
EModelElement a -
  eAnnotations EAnnotation * own loose <>eModelElement
ENamedElement a EModelElement
  name EString
EAnnotation - EModelElement
  source EString
  details EStringToStringMapEntry * own loose
  eModelElement EModelElement transient loose <>eAnnotations
  contents EObject * own loose
  references EObject *
EStringToStringMapEntry m -
  key EString
  value EString
EObject - -
EFactory - EModelElement
  ePackage EPackage 1 transient loose <>eFactoryInstance
EPackage - ENamedElement
  nsURI EString
  nsPrefix EString
  eFactoryInstance EFactory 1 transient loose <>ePackage
  eClassifiers EClassifier * own <>ePackage
  eSubpackages EPackage * own <>eSuperPackage
  eSuperPackage EPackage fixed transient <>eSubpackages
EClassifier a ENamedElement
  instanceClassName EString volatile unset
  instanceClass EJavaClass derived
  defaultValue EJavaObject derived
  instanceTypeName EString volatile unset
  ePackage EPackage fixed transient <>eClassifiers
  eTypeParameters ETypeParameter * own
EClass - EClassifier
  abstract EBoolean
  interface EBoolean
  eSuperTypes EClass * unset
  eOperations EOperation * own loose <>eContainingClass
  eAllAttributes EAttribute * derived
  eAllReferences EReference * derived
  eReferences EReference * derived
  eAttributes EAttribute * derived
  eAllContainments EReference * derived
  eAllOperations EOperation * derived
  eAllStructuralFeatures EStructuralFeature * derived
  eAllSuperTypes EClass * derived
  eIDAttribute EAttribute derived loose
  eStructuralFeatures EStructuralFeature * own loose <>eContainingClass
  eGenericSuperTypes EGenericType * own loose unset
  eAllGenericSuperTypes EGenericType * derived
EDataType - EClassifier
  serializable EBoolean =true
EEnum - EDataType
  eLiterals EEnumLiteral * own loose <>eEnum
EEnumLiteral - ENamedElement
  value EInt
  instance EEnumerator transient
  literal EString
  eEnum EEnum fixed transient loose <>eLiterals
ETypedElement a ENamedElement
  ordered EBoolean =true
  unique EBoolean =true
  lowerBound EInt
  upperBound EInt =1
  many EBoolean derived
  required EBoolean derived
  eType EClassifier volatile unset
  eGenericType EGenericType own loose volatile unset
EStructuralFeature a ETypedElement
  changeable EBoolean =true
  volatile EBoolean
  transient EBoolean
  defaultValueLiteral EString
  defaultValue EJavaObject derived
  unsettable EBoolean
  derived EBoolean
  eContainingClass EClass fixed transient loose <>eStructuralFeatures
EAttribute - EStructuralFeature
  iD EBoolean
  eAttributeType EDataType 1 derived
EReference - EStructuralFeature
  containment EBoolean
  container EBoolean derived
  resolveProxies EBoolean =true
  eOpposite EReference
  eReferenceType EClass 1 derived
  eKeys EAttribute *
EOperation - ETypedElement
  eContainingClass EClass fixed transient loose <>eOperations
  eTypeParameters ETypeParameter * own
  eParameters EParameter * own loose <>eOperation
  eExceptions EClassifier * unset
  eGenericExceptions EGenericType * own loose unset
EParameter - ETypedElement
  eOperation EOperation fixed transient loose <>eParameters
EGenericType - -
  eUpperBound EGenericType own loose
  eTypeArguments EGenericType * own loose
  eRawType EClassifier 1 fixed transient onlyDerived
  eLowerBound EGenericType own loose
  eTypeParameter ETypeParameter loose
  eClassifier EClassifier
ETypeParameter - ENamedElement
  eBounds EGenericType * own loose
)";

/// Name, Java class, and whether its values have a text form.
constexpr std::string_view kDataTypes = R"(
EBigDecimal java.math.BigDecimal
EBigInteger java.math.BigInteger
EBoolean boolean
EBooleanObject java.lang.Boolean
EByte byte
EByteArray byte[]
EByteObject java.lang.Byte
EChar char
ECharacterObject java.lang.Character
EDate java.util.Date
EDiagnosticChain org.eclipse.emf.common.util.DiagnosticChain unserializable
EDouble double
EDoubleObject java.lang.Double
EEList org.eclipse.emf.common.util.EList unserializable
EEnumerator org.eclipse.emf.common.util.Enumerator unserializable
EFeatureMap org.eclipse.emf.ecore.util.FeatureMap unserializable
EFeatureMapEntry org.eclipse.emf.ecore.util.FeatureMap$Entry unserializable
EFloat float
EFloatObject java.lang.Float
EInt int
EIntegerObject java.lang.Integer
EInvocationTargetException java.lang.reflect.InvocationTargetException unserializable
EJavaClass java.lang.Class
EJavaObject java.lang.Object
ELong long
ELongObject java.lang.Long
EMap java.util.Map unserializable
EResource org.eclipse.emf.ecore.resource.Resource unserializable
EResourceSet org.eclipse.emf.ecore.resource.ResourceSet unserializable
EShort short
EShortObject java.lang.Short
EString java.lang.String
ETreeIterator org.eclipse.emf.common.util.TreeIterator unserializable
)";

std::string featureText(std::istringstream& words, const std::string& name, const std::string& type) {
  const bool isAttribute = kDataTypes.find("\n" + type + " ") != std::string_view::npos;
  std::string text = "<eStructuralFeatures xsi:type=\"ecore:" + std::string(isAttribute ? "EAttribute" : "EReference") +
                     "\" name=\"" + name + "\" eType=\"#//" + type + "\"";
  const std::string derived = " changeable=\"false\" volatile=\"true\" transient=\"true\" derived=\"true\"";
  for (std::string word; words >> word;) {
    if (word == "*") text += " upperBound=\"-1\"";
    if (word == "1") text += " lowerBound=\"1\"";
    if (word == "own") text += " containment=\"true\"";
    if (word == "loose") text += " resolveProxies=\"false\"";
    if (word == "derived") text += derived;
    if (word == "onlyDerived") text += " derived=\"true\"";
    if (word == "transient") text += " transient=\"true\"";
    if (word == "volatile") text += " volatile=\"true\"";
    if (word == "fixed") text += " changeable=\"false\"";
    if (word == "unset") text += " unsettable=\"true\"";
    if (word.starts_with('=')) text += " defaultValueLiteral=\"" + word.substr(1) + "\"";
    if (word.starts_with("<>")) text += " eOpposite=\"#//" + type + "/" + word.substr(2) + "\"";
  }
  return text + "/>";
}

std::string classesText() {
  std::string text;
  std::istringstream lines{std::string(kClasses)};
  bool isOpen = false;
  for (std::string line; std::getline(lines, line);) {
    if (line.empty()) continue;
    std::istringstream words(line);
    std::string name;
    words >> name;
    std::string second;
    words >> second;
    if (line.front() == ' ') {
      text += featureText(words, name, second);
      continue;
    }
    std::string supertype;
    words >> supertype;
    if (isOpen) text += "</eClassifiers>";
    isOpen = true;
    text += "<eClassifiers xsi:type=\"ecore:EClass\" name=\"" + name + "\"";
    if (second == "a") text += " abstract=\"true\"";
    if (second == "m") text += " instanceClassName=\"java.util.Map$Entry\"";
    if (supertype != "-") text += " eSuperTypes=\"#//" + supertype + "\"";
    text += ">";
  }
  return text + "</eClassifiers>";
}

std::string dataTypesText() {
  std::string text;
  std::istringstream lines{std::string(kDataTypes)};
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line);
    std::string name;
    std::string instanceClass;
    std::string flag;
    words >> name >> instanceClass >> flag;
    if (name.empty()) continue;
    text +=
        "<eClassifiers xsi:type=\"ecore:EDataType\" name=\"" + name + "\" instanceClassName=\"" + instanceClass + "\"";
    text += flag.empty() ? "/>" : " serializable=\"false\"/>";
  }
  return text;
}

}  // namespace

meta::Package ecorePackage() {
  // Two threads that ask for it at once must not both register it.
  static std::mutex mutex;
  const std::lock_guard<std::mutex> lock(mutex);
  if (meta::Package present = meta::MetaRegistry::getInstance()->getPackage(kEcoreUri)) return present;
  const std::string namespaceUri(kEcoreNamespace);
  const std::string text =
      "<ecore:EPackage xmi:version=\"2.0\" xmlns:xmi=\"http://www.omg.org/XMI\" "
      "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" xmlns:ecore=\"" +
      namespaceUri + "\" name=\"ecore\" nsURI=\"" + namespaceUri + "\" nsPrefix=\"ecore\">" + classesText() +
      dataTypesText() + "</ecore:EPackage>";
  return EcoreImporter().importText(text, "Ecore").front();
}

}  // namespace tarn::kern::ecore
