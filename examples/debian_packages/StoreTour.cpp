#include "StoreTour.h"

#include <exception>
#include <iomanip>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include <bedrock/i18n.h>
#include <strata/SQLiteUri.h>
#include <strata_datasource/DataSource.h>
#include <tarn/kern/ModelCompare.h>

#include "DebianMetaModel.h"
#include "Report.h"
#include "RoundTrip.h"
#include "Stopwatch.h"

namespace debian_packages {
namespace {

namespace fs = std::filesystem;
using strata_datasource::DataSource;
using tarn::kern::FindElementBehavior;
using tarn::kern::Model;
using tarn::kern::ModelElement;
using tarn::kern::ustring;

void bindTo(const Model& model, const fs::path& file) {
  DataSource::create(strata::Uri::createSQLite().setLocation(file.native()), model, DataSource::ToModelSync::OnTouch,
                     DataSource::ToDataSourceSync::Changes, DataSource::SyncTiming::OnCommit);
}

Model open(const fs::path& file) {
  Model model = Model::create(tarn::kern::ModelSpec());
  bindTo(model, file);
  return model;
}

std::string milliseconds(double seconds) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(seconds < 0.1 ? 2 : 0) << seconds * 1000 << " ms";
  return text.str();
}

std::string inMemory(const Model& model) {
  return grouped(model->getAllElements(FindElementBehavior::InMemory).size()) + " of " +
         grouped(model->getElementCount()) + " elements in memory";
}

std::vector<ModelElement> installedPackages(const Model& model) {
  const auto query = model->getDataSource()->createQuery();
  query->setCondition(query->classCondition(debianMetaModel().installedPackage.type, true));
  return query->fetch({});
}

/// Changes one package of the store, and gives it back as it stands in the model that was stored; a null handle when
/// nothing is installed.
ModelElement changeOne(const Model& original, const fs::path& file, std::ostream& out) {
  Stopwatch watch;
  const Model model = open(file);
  out << "  opened in " << milliseconds(watch.lap()) << ": " << inMemory(model) << '\n';
  const std::vector<ModelElement> packages = installedPackages(model);
  out << "  a query found " << grouped(packages.size()) << " installed packages in " << milliseconds(watch.lap())
      << ": " << inMemory(model) << '\n';
  if (packages.empty()) return {};
  const ModelElement& changed = packages[packages.size() / 2];
  watch.lap();
  tarn::kern::Transaction change = model->beginTransaction(false);
  changed->set<ustring>(debianMetaModel().anyPackage.synopsis, u"changed in the store");
  change.commit(boost::none);
  out << "  changed and committed one of them in " << milliseconds(watch.lap()) << '\n';
  return original->findElement(changed->getUuid(), FindElementBehavior::Anywhere);
}

void tour(const Model& model, const fs::path& file, std::ostream& out) {
  fs::remove(file);
  Stopwatch watch;
  bindTo(model, file);
  const double writing = watch.lap();
  model->resetDataSource();
  out << "\n"
      << file.filename().native() << ": " << grouped(fs::file_size(file)) << " bytes, written in "
      << milliseconds(writing) << "; the sqlite3 shell shows what is in it\n";

  const ModelElement expected = changeOne(model, file, out);
  if (!expected) return;
  const Model again = open(file);
  const auto difference = tarn::kern::firstDifference(model, again);
  if (!difference) throw RoundTripError(file.native() + ": the change is not in the store");
  out << "  opened once more, it differs from the model in\n    " << difference->text() << '\n';

  // That is all that differs: with the change taken back the two are equal.
  const auto& synopsis = debianMetaModel().anyPackage.synopsis;
  const ModelElement changed = again->findElement(expected->getUuid(), FindElementBehavior::Anywhere);
  tarn::kern::Transaction back = again->beginTransaction(false);
  changed->setPropertyValue(synopsis,
                            expected->getPropertyValue(synopsis, tarn::kern::ReflectionPrivateTag::PUBLIC_ACCESS),
                            tarn::kern::ReflectionPrivateTag::PUBLIC_ACCESS);
  requireEqual(model, again);
  back.rollBack();
}

}  // namespace

void takeStoreTour(const Model& model, const fs::path& outDirectory, std::ostream& out) {
  const fs::path file = outDirectory / "debian.sqlite";
  try {
    tour(model, file, out);
  } catch (const RoundTripError&) {
    throw;
  } catch (const std::exception& e) {
    throw RoundTripError(e.what());  // which names the file
  }
}

}  // namespace debian_packages
