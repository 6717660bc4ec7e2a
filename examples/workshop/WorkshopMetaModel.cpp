#include "WorkshopMetaModel.h"

#include <tarn/kern/meta/PackageBuilder.h>
#include <tarn/kern/meta/StandardTypes.h>

namespace workshop {

namespace {

using tarn::kern::meta::Class;
using tarn::kern::meta::Package;
using tarn::kern::meta::PackageBuilder;
using tarn::kern::meta::StandardTypes;

Package definePackage() {
  PackageBuilder package(u"workshop");
  package.family(u"workshop", u"1");
  package.addEnum(u"JobState")
      .literal(u"planned", static_cast<std::int64_t>(JobState::Planned))
      .literal(u"running", static_cast<std::int64_t>(JobState::Running))
      .literal(u"done", static_cast<std::int64_t>(JobState::Done));

  auto& tool = package.addClass(u"Tool");
  tool.attribute(u"code", StandardTypes::stringMeta).required();
  tool.attribute(u"name", StandardTypes::stringMeta);
  package.addClass(u"ToolByCode").extends(tool);

  auto& step = package.addClass(u"Step");
  step.attribute(u"text", StandardTypes::stringMeta).required();
  step.attribute(u"done", StandardTypes::booleanMeta).required().defaultsTo(false);

  auto& job = package.addClass(u"Job");
  job.attribute(u"title", StandardTypes::stringMeta).required();
  job.attribute(u"hours", StandardTypes::realMeta).required().defaultsTo(1.0);
  job.attribute(u"state", u"JobState").required().defaultsTo(u"planned");
  job.reference(u"tools", tool).many();
  job.composite(u"steps", step).many();

  auto& workshop = package.addClass(u"Workshop");
  workshop.attribute(u"name", StandardTypes::stringMeta);
  workshop.composite(u"tools", tool).many();
  workshop.composite(u"jobs", job).many();
  return package.registerPackage();
}

WorkshopMetaModel define() {
  const Package package = definePackage();
  const auto classNamed = [&](const char16_t* name) { return tarn::kern::narrow<Class>(package->getTypes().at(name)); };
  WorkshopMetaModel model;
  model.workshop = classNamed(u"Workshop");
  model.tool = classNamed(u"Tool");
  model.toolByCode = classNamed(u"ToolByCode");
  model.job = classNamed(u"Job");
  model.step = classNamed(u"Step");
  model.ofWorkshop = {model.workshop->getProperty(u"name"), model.workshop->getProperty(u"tools"),
                      model.workshop->getProperty(u"jobs")};
  model.ofTool = {model.tool->getProperty(u"code"), model.tool->getProperty(u"name")};
  model.ofJob = {model.job->getProperty(u"title"), model.job->getProperty(u"hours"), model.job->getProperty(u"state"),
                 model.job->getProperty(u"tools"), model.job->getProperty(u"steps")};
  model.ofStep = {model.step->getProperty(u"text"), model.step->getProperty(u"done")};
  return model;
}

}  // namespace

const WorkshopMetaModel& workshopMetaModel() {
  static const WorkshopMetaModel kModel = define();
  return kModel;
}

}  // namespace workshop
