#include "PackageStanza.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <string_view>
#include <unordered_map>

#include "Ascii.h"
#include "Relations.h"

namespace debian_packages {
namespace {

/// The whole text as a number of type T, or none.
template <class T>
std::optional<T> parseNumber(std::string_view text) {
  T number{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || text.empty()) return std::nullopt;
  return number;
}

/// The description's lines behind the first: a blank in front of each, and a lone dot for an empty one.
std::string decodeDescription(std::string_view lines) {
  std::string decoded;
  while (!lines.empty()) {
    std::string_view line = nextLine(lines);
    if (!line.empty()) line.remove_prefix(1);
    if (trimmed(line) == ".") line = {};
    decoded.append(line);
    if (!lines.empty()) decoded += '\n';
  }
  return decoded;
}

/// The last word of `line`, cut off together with the blanks around it.
std::string_view takeLastWord(std::string_view& line) {
  line = trimmed(line);
  std::size_t begin = line.size();
  while (begin > 0 && !isSpace(line[begin - 1])) --begin;
  const std::string_view word = line.substr(begin);
  line = trimmed(line.substr(0, begin));
  return word;
}

/// Reads the fields of one stanza into one package, each by the function that its name stands for.
template <class Package>
class StanzaReader {
 public:
  StanzaReader(const Stanza& stanza, const std::string& file, PlainDatabase& database)
      : fStanza(stanza), fFile(file), fDatabase(database) {}

  Package read() {
    for (const ControlField& field : fStanza.fields) readField(field);
    if (fPackage.name.empty()) fail(fStanza.line, "missing 'Package' field");
    if (needsVersion() && fPackage.version.isEmpty()) fail(fStanza.line, "missing 'Version' field");
    if (fPackage.source == kNoName) fPackage.source = fDatabase.sources.intern(fPackage.name);
    if (fPackage.sourceVersion.isEmpty()) fPackage.sourceVersion = fPackage.version;
    fPackage.line = fStanza.line;
    fPackage.fingerprint = fingerprint(fStanza);
    return std::move(fPackage);
  }

 private:
  using Handler = void (StanzaReader::*)(const ControlField&);
  using Handlers = std::unordered_map<std::string_view, Handler>;
  static constexpr bool kIsInstalled = std::is_same_v<Package, PlainInstalledPackage>;

  /// By field name in lower case.
  static const Handlers& handlers() {
    static const Handlers kHandlers = [] {
      Handlers handlers = {{"package", &StanzaReader::readName},
                           {"version", &StanzaReader::readVersion},
                           {"architecture", &StanzaReader::readArchitecture},
                           {"section", &StanzaReader::readSection},
                           {"maintainer", &StanzaReader::readMaintainer},
                           {"source", &StanzaReader::readSource},
                           {"priority", &StanzaReader::readPriority},
                           {"multi-arch", &StanzaReader::readMultiArch},
                           {"essential", &StanzaReader::readEssential},
                           {"protected", &StanzaReader::readProtected},
                           {"installed-size", &StanzaReader::readInstalledSize},
                           {"description", &StanzaReader::readDescription},
                           {"homepage", &StanzaReader::readHomepage},
                           {"tag", &StanzaReader::readTags}};
      addSpecificHandlers(handlers);
      return handlers;
    }();
    return kHandlers;
  }

  static void addSpecificHandlers(Handlers& handlers) {
    if constexpr (kIsInstalled) {
      handlers["status"] = &StanzaReader::readStatus;
      handlers["config-version"] = &StanzaReader::readConfigVersion;
      handlers["conffiles"] = &StanzaReader::readConffiles;
    } else {
      handlers["size"] = &StanzaReader::readSize;
      handlers["filename"] = &StanzaReader::readFileName;
      handlers["md5sum"] = &StanzaReader::readMd5;
      handlers["sha256"] = &StanzaReader::readSha256;
      handlers["phased-update-percentage"] = &StanzaReader::readPhasedUpdate;
    }
  }

  void readField(const ControlField& field) {
    fLower = toLower(field.name);
    if (const auto found = handlers().find(fLower); found != handlers().end()) {
      (this->*found->second)(field);
    } else if (const auto kind = parseRelationKind(fLower)) {
      readRelations(field, *kind);
    } else {
      keepOther(field);
    }
  }

  /// dpkg needs no version of a package that is not there, or of one whose very first unpacking failed.
  bool needsVersion() const {
    if constexpr (kIsInstalled) {
      return fPackage.state != State::kNotInstalled && fPackage.state != State::kHalfInstalled;
    }
    return true;
  }

  void readName(const ControlField& field) {
    if (const auto fault = packageNameFault(field.value)) fail(field.line, "invalid package name: " + *fault);
    fPackage.name = toLower(field.value);
    fDatabase.names.intern(fPackage.name);
  }

  void readArchitecture(const ControlField& field) { fPackage.architecture = field.value; }
  void readVersion(const ControlField& field) { fPackage.version = parseVersion(field, field.value); }

  void readSection(const ControlField& field) {
    if (!field.value.empty()) fPackage.section = fDatabase.sections.intern(field.value);
  }

  void readMaintainer(const ControlField& field) {
    if (!field.value.empty()) fPackage.maintainer = fDatabase.maintainers.intern(field.value);
  }

  /// "name" or "name (version)".
  void readSource(const ControlField& field) {
    std::string_view rest = field.value;
    const std::string_view name = nextWord(rest);
    rest = trimmed(rest);
    if (name.empty()) return;
    fPackage.source = fDatabase.sources.intern(name);
    if (rest.size() > 2 && rest.front() == '(' && rest.back() == ')') {
      fPackage.sourceVersion = parseVersion(field, rest.substr(1, rest.size() - 2));
    } else if (!rest.empty()) {
      keepOther(field);
    }
  }

  void readPriority(const ControlField& field) {
    if (field.value.empty()) return;
    if (const auto priority = parsePriority(field.value)) {
      fPackage.priority = *priority;
    } else {
      fPackage.priority = Priority::kOther;
      keepOther(field);
    }
  }

  void readMultiArch(const ControlField& field) {
    const auto multiArch = parseMultiArch(field.value);
    if (!multiArch) fail(field, "has invalid value '" + field.value + "'");
    fPackage.multiArch = *multiArch;
  }

  void readEssential(const ControlField& field) { fPackage.isEssential = parseYesNo(field); }
  void readProtected(const ControlField& field) { fPackage.isProtected = parseYesNo(field); }

  void readInstalledSize(const ControlField& field) {
    fPackage.installedSizeKiB = parseNumber<std::int64_t>(field.value);
    if (!fPackage.installedSizeKiB) keepOther(field);
  }

  void readDescription(const ControlField& field) {
    std::string_view rest = field.value;
    if (rest.empty()) return;
    fPackage.synopsis = trimmed(nextLine(rest));
    fPackage.description = decodeDescription(rest);
  }

  void readHomepage(const ControlField& field) { fPackage.homepage = field.value; }

  void readTags(const ControlField& field) {
    std::string_view rest = field.value;
    while (!rest.empty()) {
      const std::size_t comma = std::min(rest.find(','), rest.size());
      const std::string_view tag = trimmed(rest.substr(0, comma));
      if (!tag.empty()) fPackage.tags.emplace_back(tag);
      rest.remove_prefix(std::min(comma + 1, rest.size()));
    }
  }

  void readStatus(const ControlField& field) {
    std::string_view rest = field.value;
    fPackage.want = statusWord(field, nextWord(rest), "first (want)", parseWant);
    fPackage.flag = statusWord(field, nextWord(rest), "second (error)", parseFlag);
    fPackage.state = statusWord(field, nextWord(rest), "third (status)", parseState);
    if (!trimmed(rest).empty()) fail(field, "has trailing junk");
  }

  template <class E>
  E statusWord(const ControlField& field, std::string_view word, const std::string& which,
               std::optional<E> (*parse)(std::string_view)) {
    if (word.empty()) fail(field, which + " word is missing");
    const std::optional<E> value = parse(word);
    if (!value) fail(field, which + " word has invalid value '" + std::string(word) + "'");
    return *value;
  }

  void readConfigVersion(const ControlField& field) { fPackage.configVersion = parseVersion(field, field.value); }

  /// A line per file behind an empty first one: path, digest, and perhaps words on its fate.
  void readConffiles(const ControlField& field) {
    std::string_view rest = field.value;
    if (rest.empty()) return;
    std::size_t line = field.line;
    if (!trimmed(nextLine(rest)).empty()) fail(field, "has line starting with non-space");
    while (!rest.empty()) {
      ++line;
      fPackage.conffiles.push_back(parseConffile(nextLine(rest), line));
    }
  }

  PlainConffile parseConffile(std::string_view text, std::size_t line) {
    PlainConffile conffile;
    std::string_view path = text;
    std::string_view word = takeLastWord(path);
    for (;; word = takeLastWord(path)) {
      if (word == "obsolete") {
        conffile.isObsolete = true;
      } else if (word == "remove-on-upgrade") {
        conffile.isRemovedOnUpgrade = true;
      } else {
        break;
      }
    }
    if (path.empty()) fail(line, "value for 'Conffiles' field has malformed line '" + std::string(trimmed(text)) + "'");
    if (word != "newconffile") conffile.md5 = word;
    conffile.path = path;
    return conffile;
  }

  void readSize(const ControlField& field) {
    fPackage.sizeBytes = parseNumber<std::uint64_t>(field.value);
    if (!fPackage.sizeBytes) keepOther(field);
  }

  void readFileName(const ControlField& field) { fPackage.fileName = field.value; }
  void readMd5(const ControlField& field) { fPackage.md5 = field.value; }
  void readSha256(const ControlField& field) { fPackage.sha256 = field.value; }

  void readPhasedUpdate(const ControlField& field) {
    const auto percentage = parseNumber<std::uint8_t>(field.value);
    if (percentage && *percentage <= 100) {
      fPackage.phasedUpdatePercentage = *percentage;
    } else {
      keepOther(field);
    }
  }

  void readRelations(const ControlField& field, RelationKind kind) {
    std::vector<Relation> relations = parseRelationField(field, kind);
    if (relations.size() > std::numeric_limits<std::uint16_t>::max() + std::size_t{1}) {
      fail(field, "has " + std::to_string(relations.size()) + " relations");
    }
    for (std::size_t i = 0; i < relations.size(); ++i) {
      PlainRelation relation;
      relation.kind = kind;
      relation.position = static_cast<std::uint16_t>(i);
      relation.alternatives.reserve(relations[i].alternatives.size());
      for (Alternative& a : relations[i].alternatives) {
        relation.alternatives.push_back({fDatabase.names.intern(a.name), a.op, std::move(a.architecture),
                                         std::move(a.version), std::move(a.architectures)});
      }
      fPackage.relations.push_back(std::move(relation));
    }
  }

  std::vector<Relation> parseRelationField(const ControlField& field, RelationKind kind) {
    try {
      return parseRelations(field.value, kind);
    } catch (const RelationError& e) {
      const std::string_view before = std::string_view(field.value).substr(0, e.offset());
      const auto lines = std::count(before.begin(), before.end(), '\n');
      fail(field.line + static_cast<std::size_t>(lines), "'" + field.name + "' field, " + e.what());
    }
  }

  DebianVersion parseVersion(const ControlField& field, std::string_view text) {
    try {
      return DebianVersion::parse(text);
    } catch (const VersionError& e) {
      fail(field.line, "'" + field.name + "' field, " + e.what());
    }
  }

  bool parseYesNo(const ControlField& field) {
    if (equalIgnoringCase(field.value, "yes")) return true;
    if (!equalIgnoringCase(field.value, "no")) fail(field, "has invalid value '" + field.value + "'");
    return false;
  }

  void keepOther(const ControlField& field) { fPackage.otherFields.emplace_back(field.name, field.value); }

  [[noreturn]] void fail(std::size_t line, const std::string& what) const { throw ReadError(fFile, line, what); }
  [[noreturn]] void fail(const ControlField& field, const std::string& what) const {
    fail(field.line, "'" + field.name + "' field " + what);
  }

  const Stanza& fStanza;
  const std::string& fFile;
  PlainDatabase& fDatabase;
  Package fPackage;
  std::string fLower;
};

}  // namespace

PlainInstalledPackage readInstalledPackage(const Stanza& stanza, const std::string& file, PlainDatabase& database) {
  return StanzaReader<PlainInstalledPackage>(stanza, file, database).read();
}

PlainArchivePackage readArchivePackage(const Stanza& stanza, const std::string& file, PlainDatabase& database) {
  return StanzaReader<PlainArchivePackage>(stanza, file, database).read();
}

}  // namespace debian_packages
