#pragma once

#include <cstdint>

#include <tarn/kern/meta/Class.h>
#include <tarn/kern/meta/Property.h>

namespace workshop {

/// How far a job is.
enum class JobState : std::int64_t { Planned, Running, Done };

/// What a workshop's plan is made of:
///
///     Workshop  name; tools and jobs (contained)
///     Tool      code, name
///     ToolByCode  a Tool of which only the code is known: it stands for the tool with that code, once there is one
///     Job       title, hours, state; tools (referred to), steps (contained)
///     Step      text, done
struct WorkshopMetaModel {
  tarn::kern::meta::Class workshop, tool, toolByCode, job, step;
  struct {
    tarn::kern::meta::Property name, tools, jobs;
  } ofWorkshop;
  struct {
    tarn::kern::meta::Property code, name;
  } ofTool;
  struct {
    tarn::kern::meta::Property title, hours, state, tools, steps;
  } ofJob;
  struct {
    tarn::kern::meta::Property text, done;
  } ofStep;
};

/// Registered at the first call.
const WorkshopMetaModel& workshopMetaModel();

}  // namespace workshop
