// Ecore meta-models on their way into the registry and back.

#include <tarn/kern/ecore/EcoreExporter.h>
#include <tarn/kern/ecore/EcoreImporter.h>
#include <tarn/kern/meta/MetaRegistry.h>

#include "FuzzTarget.h"

namespace {

using tarn::kern::ecore::EcoreExporter;
using tarn::kern::ecore::EcoreImporter;
using tarn::kern::meta::MetaRegistry;

const char* const kDeclarations =
    " xmi:version=\"2.0\" xmlns:xmi=\"http://www.omg.org/XMI\" xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\"";

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  MetaRegistry::getInstance()->reset();
  std::vector<tarn::kern::meta::Package> packages;
  try {
    packages = EcoreImporter().importText(std::string(fuzz::viewOf(data, size)));
  } catch (const tarn::kern::KernelError&) {
    return 0;
  }
  const std::string first = EcoreExporter().toText(packages);
  MetaRegistry::getInstance()->reset();
  const std::string second = EcoreExporter().toText(EcoreImporter().importText(first));
  fuzz::require(first == second, "a meta-model that was written is written again");
  return 0;
}

std::vector<std::string> fuzz::seeds() {
  const std::string metaModel =
      "<ecore:EPackage" + std::string(kDeclarations) +
      " xmlns:ecore=\"http://www.eclipse.org/emf/2002/Ecore\" name=\"p\" nsURI=\"urn:p\" nsPrefix=\"q\">"
      "<eAnnotations source=\"s\"><details key=\"k\" value=\"v\"/></eAnnotations>"
      "<eClassifiers xsi:type=\"ecore:EClass\" name=\"A\" abstract=\"true\"><eTypeParameters name=\"T\"/><eOperations "
      "name=\"o\"/>"
      "<eStructuralFeatures xsi:type=\"ecore:EReference\" name=\"b\" eType=\"#//B\" eOpposite=\"#//B/a\" "
      "upperBound=\"-1\" "
      "containment=\"true\"/><eStructuralFeatures xsi:type=\"ecore:EAttribute\" name=\"n\" defaultValueLiteral=\"1\" "
      "eType=\"ecore:EDataType http://www.eclipse.org/emf/2002/Ecore#//EInt\"/></eClassifiers>"
      "<eClassifiers xsi:type=\"ecore:EClass\" name=\"B\" eSuperTypes=\"#//A #//C\"><eStructuralFeatures "
      "xsi:type=\"ecore:EReference\" name=\"a\" eType=\"#//A\" eOpposite=\"#//A/b\"/></eClassifiers>"
      "<eClassifiers xsi:type=\"ecore:EClass\" name=\"C\"/><eClassifiers xsi:type=\"ecore:EDataType\" name=\"D\"/>"
      "<eClassifiers xsi:type=\"ecore:EEnum\" name=\"E\"><eLiterals name=\"a\" "
      "literal=\"x\"/></eClassifiers></ecore:EPackage>";
  return {metaModel};
}
