#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "ModelInput.h"
#include "ToolError.h"

/// The verbs of the command: each is a set of options, filled from the command line, and a function that does the work
/// and gives the exit code. What they cannot do ends in a ToolError.
namespace nimbo_tool {

struct InfoOptions {
  std::vector<std::string> files;
  ReadingOptions reading;
  bool json = false;
};
[[nodiscard]] ExitCode runInfo(const InfoOptions& options);

struct DumpOptions {
  std::string file;
  std::string out = "-";
  std::string magic;
  bool pretty = false;
  bool force = false;
};
[[nodiscard]] ExitCode runDump(const DumpOptions& options);

struct ExplainOptions {
  std::string file;
  std::string magic;
  std::optional<std::uint64_t> offset;
  std::string element;  ///< a uuid, or empty
};
[[nodiscard]] ExitCode runExplain(const ExplainOptions& options);

struct ConvertOptions {
  std::string in;
  std::string out;
  std::string to;  ///< empty: by the name of the output
  ReadingOptions reading;
  bool withHeader = false;
  bool force = false;
};
[[nodiscard]] ExitCode runConvert(const ConvertOptions& options);

struct PrintOptions {
  std::string file;
  std::vector<std::string> select;  ///< uuids, class names
  ReadingOptions reading;
  bool defaults = false;
  bool emptyCollections = false;
};
[[nodiscard]] ExitCode runPrint(const PrintOptions& options);

struct ReportOptions {
  std::string file;
  std::string out;
  ReadingOptions reading;
  bool force = false;
};
[[nodiscard]] ExitCode runReport(const ReportOptions& options);

struct CheckOptions {
  std::vector<std::string> files;
  ReadingOptions reading;
  bool json = false;
};
[[nodiscard]] ExitCode runCheck(const CheckOptions& options);

struct DiffOptions {
  std::string oldFile;
  std::string newFile;
  ReadingOptions reading;
  bool json = false;
};
[[nodiscard]] ExitCode runDiff(const DiffOptions& options);

struct ExtractOptions {
  std::string file;
  std::vector<std::string> uuidsAndOut;  ///< the last one is the output
  std::string to;
  ReadingOptions reading;
  bool force = false;
};
[[nodiscard]] ExitCode runExtract(const ExtractOptions& options);

struct MetamodelOptions {
  std::vector<std::string> files;
  std::string to = "text";  ///< text, ecore, json, dot
  std::string out = "-";
  bool force = false;
};
[[nodiscard]] ExitCode runMetamodel(const MetamodelOptions& options);

struct ImportOptions {
  std::string out;
  std::string to;
  std::string status = "/var/lib/dpkg/status";
  bool force = false;
};
[[nodiscard]] ExitCode runImportDebian(const ImportOptions& options);

struct GenerateOptions {
  std::vector<std::string> metaModels;
  std::string out;
  std::string to;
  std::uint64_t elements = 100;
  std::uint64_t seed = 1;
  bool force = false;
};
[[nodiscard]] ExitCode runGenerate(const GenerateOptions& options);

}  // namespace nimbo_tool
