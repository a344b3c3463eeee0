#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "OrvikCore/Care/ContentShare.h"
#include "OrvikCore/Store/RetentionPolicy.h"

namespace orvik::host {

/// What a number of the command line may be, both ends included.
struct Bounds {
  double low = 0;
  double high = 0;
};
namespace bounds {
inline constexpr Bounds concurrency{1, 64};
inline constexpr Bounds rate{0, 100000};
inline constexpr Bounds downloads{1, 16};
inline constexpr Bounds limit{0, 1000000};  ///< of backups or days to keep
inline constexpr Bounds hours{0, 87600};    ///< ten years
}  // namespace bounds

inline constexpr int standardMaximumAge = 48;  ///< hours, before a last backup counts as overdue

/// Which server is read, and where its client secret is to be had.
struct ServerArguments {
  std::optional<std::string> instance;  ///< a registered server; else `url` and `clientID` name one
  std::string url;
  std::string clientID;
  std::optional<std::string> name;
  std::optional<std::string> secretFile;
  std::optional<std::string> secretCommand;
};

/// Who is told what became of a run.
struct NotifyArguments {
  std::optional<std::string> command;  ///< for /bin/sh
  std::optional<std::string> url;
};

/// `orvik backup`, as it was asked for, and `orvik simulate`; the defaults are the documented ones.
struct BackupArguments : ServerArguments {
  std::string to;
  bool all = false;  ///< all registered servers
  std::vector<std::string> only;
  std::vector<std::string> disable;
  bool noFiles = false;
  bool classicDevices = false;
  bool fullRefresh = false;
  int downloads = 2;                 ///< side by side
  std::optional<std::string> mount;  ///< folder of a mounted file share
  std::optional<std::string> staging;
  int concurrency = 4;
  double rate = 10;  ///< requests a second; 0 is no limit
  int attempts = 5;
  double baseDelay = 1;  ///< seconds, as all that follow
  double maxDelay = 60;
  double lockWait = 0;
  bool noResume = false;
  bool noPack = false;
  RetentionPolicy keep;    ///< no limits: nothing is deleted
  int minimumHours = 0;    ///< since the last backup
  bool newFolder = false;  ///< also where backups were once and none are now
  bool encrypt = false;
  std::optional<std::string> key;    ///< PEM file
  std::optional<std::string> keyID;  ///< of a new data key
  bool noReports = false;
  std::string caFile;
  NotifyArguments notify;
  bool json = false;
  bool quiet = false;
};

/// `orvik config show`.
struct ShowSettingsArguments {
  bool json = false;
  bool quiet = false;
};

/// `orvik config set`, and without a value `orvik config unset`.
struct ChooseSettingArguments {
  std::string name;
  std::optional<std::string> value;
};

/// `orvik simulate`: the backup that would be made.
struct SimulationArguments {
  BackupArguments backup;
  std::optional<std::string> report;  ///< PDF file
};

/// `orvik demo`.
struct DemoArguments {
  std::string to;  ///< empty: a fresh temporary folder
  std::string fleet = "small";
  bool quiet = false;
};

/// `orvik sample-server`.
struct SampleServerArguments {
  std::uint16_t port = 0;  ///< 0 takes a free one
  std::string fleet = "small";
  std::uint64_t seed = 1;
  bool json = false;
  bool quiet = false;
};

/// In which form a command tells what it found.
struct OutputArguments {
  bool json = false;
  bool quiet = false;
};

/// `orvik schedule list`.
struct ListRunsArguments : OutputArguments {};

/// `orvik schedule add`: exactly one of the two times.
struct AddRunArguments : OutputArguments {
  std::string instance;           ///< name, ID or folder name
  std::optional<std::string> at;  ///< as `RunTime::at` reads it
  std::optional<double> in;       ///< hours
};

/// `orvik schedule remove`: one or both, and a run must fit both.
struct RemoveRunsArguments : OutputArguments {
  std::optional<std::string> id;        ///< of a run, or its beginning
  std::optional<std::string> instance;  ///< name, ID or folder name
};

/// `orvik schedule run`: how the backups that are due are made. No server is named.
struct RunScheduleArguments {
  BackupArguments backup;
};

/// `orvik status`.
struct StatusArguments : OutputArguments {
  std::string to;
  int maxAge = standardMaximumAge;  ///< hours since the last backup; 0 is no limit
  bool noSizes = false;
  std::optional<std::string> metrics;  ///< file
};

/// `orvik doctor`.
struct DoctorArguments : OutputArguments {
  ServerArguments server;
  std::optional<std::string> to;  ///< the folder of all instances; none: no folder is looked at
  std::string caFile;
  int concurrency = 4;
  double rate = 10;  ///< requests a second; 0 is no limit
  int attempts = 2;
};

/// What all commands share that open an instance folder.
struct FolderArguments : OutputArguments {
  std::string folder;
  std::optional<std::string> key;  ///< PEM file
};

/// What those share that write to it.
struct WriterArguments : FolderArguments {
  double lockWait = 0;  ///< seconds
};

/// `orvik pack`.
struct PackArguments {
  WriterArguments at;
};

/// What the commands share that delete: whether, and how they are told to.
struct DeletionArguments {
  bool dryRun = false;
  bool yes = false;             ///< nobody is asked
  bool withUnfinished = false;  ///< also beside an interrupted run
};

/// `orvik gc`.
struct CollectArguments {
  WriterArguments at;
  DeletionArguments deletion;
};

/// `orvik retention`.
struct RetentionArguments {
  WriterArguments at;
  DeletionArguments deletion;
  RetentionPolicy keep;  ///< at least one limit
};

/// `orvik check`. The folder is that of an instance, or of all.
struct CheckArguments {
  FolderArguments at;
  std::optional<ReadingRequest> read;  ///< none: all objects, and no package file
};

/// `orvik repair`.
struct RepairArguments {
  WriterArguments at;
  bool dryRun = false;
  bool yes = false;
};

/// `orvik stats`.
struct StatsArguments {
  FolderArguments at;
};

/// `orvik lock show`, which prints results alone, quiet or not.
struct ShowLockArguments {
  std::string folder;
  bool json = false;
  bool quiet = false;
};

/// `orvik lock unlock`.
struct UnlockArguments {
  std::string folder;
  bool yes = false;
  bool force = false;                 ///< also a lock that is not stale
  std::optional<std::string> holder;  ///< "<user> on <host>", as a person would have to type it
  bool json = false;
  bool quiet = false;
};

/// `orvik sections`. No backup is the newest one, here and below.
struct SectionsArguments {
  FolderArguments at;
  std::optional<std::string> backup;
};

/// `orvik show`.
struct ShowArguments {
  FolderArguments at;
  std::string section;
  std::optional<std::string> item;  ///< ID or name; none lists the section
  std::optional<std::string> backup;
};

/// `orvik diff`.
struct DiffArguments {
  FolderArguments at;
  std::optional<std::string> from;  ///< none: the parent of `to`, or else the backup before it
  std::optional<std::string> to;
  std::optional<std::string> section;
};

/// `orvik search`.
struct SearchArguments {
  FolderArguments at;
  std::string query;
  bool contents = false;
  std::optional<std::string> backup;
  int limit = 200;
};

/// `orvik history`.
struct HistoryArguments {
  FolderArguments at;
  std::string section;
  std::string item;  ///< ID or name
};

/// `orvik export`.
struct ExportArguments {
  FolderArguments at;
  std::string section;
  std::optional<std::string> item;  ///< ID or name; none exports the section
  std::string out;                  ///< folder
  std::optional<std::string> backup;
};

/// `orvik browse`: an instance folder, or the folder of some.
struct BrowseArguments {
  FolderArguments at;
  std::uint16_t port = 0;  ///< 0 takes a free one
  bool noOpen = false;     ///< the address is printed and nothing else
};

/// Where a client secret is to be had, as far as the command line says.
struct SecretArguments {
  std::optional<std::string> file;
  std::optional<std::string> command;
};

/// `orvik instances list`.
struct ListInstancesArguments {
  OutputArguments output;
};

/// `orvik instances add`.
struct AddInstanceArguments {
  std::string name;
  std::string url;
  std::string clientID;
  std::optional<std::string> mount;  ///< folder of a mounted file share
  SecretArguments secret;
  OutputArguments output;
};

/// `orvik instances remove`.
struct RemoveInstanceArguments {
  std::string name;
  bool yes = false;
  bool dryRun = false;
  OutputArguments output;
};

/// `orvik instances test`.
struct TestInstanceArguments {
  std::string name;
  SecretArguments secret;  ///< none: the instance's own
  std::string caFile;
  OutputArguments output;
};

/// What the commands on organizations share.
struct OrgArguments : OutputArguments {
  std::optional<std::string> database;  ///< file; none: the user's own
};

/// `orvik orgs list`.
struct ListOrgsArguments : OrgArguments {};

/// `orvik orgs add`.
struct AddOrgArguments : OrgArguments {
  std::string name;
  std::string url;
  std::string clientID;
  SecretArguments secret;
};

/// `orvik orgs remove`.
struct RemoveOrgArguments : OrgArguments {
  std::string name;  ///< or ID
  bool yes = false;
  bool dryRun = false;
};

/// `orvik orgs rename`.
struct RenameOrgArguments : OrgArguments {
  std::string name;  ///< or ID
  std::string newName;
};

/// `orvik playbook check`. A file of "-" is standard input, here and below.
struct CheckPlaybookArguments : OutputArguments {
  std::string file;
};

/// `orvik playbook next`.
struct NextPlaybookRunArguments : OutputArguments {
  std::string file;
  std::optional<std::string> after;  ///< as `RunTime::moment` reads it; none is now
};

/// What the commands share that work with the server of an organization.
struct OrgServerArguments : OrgArguments {
  std::string org;  ///< name or ID
  std::string caFile;
};

/// What the commands share that compare a playbook with a server.
struct PlaybookServerArguments : OrgServerArguments {
  std::string file;
};

/// `orvik playbook plan`.
struct PlanPlaybookArguments : PlaybookServerArguments {
  std::optional<std::string> out;  ///< file of the plan
};

/// `orvik playbook apply`.
struct ApplyPlaybookArguments : PlaybookServerArguments {
  std::optional<std::string> plan;  ///< file
  bool yes = false;
};

/// `orvik playbook fetch`.
struct FetchPlaybookArguments : OutputArguments {
  std::string repository;           ///< OWNER/REPO
  std::optional<std::string> name;  ///< none lists what there is
  std::string branch = "main";
  std::optional<std::string> out;     ///< file
  std::optional<std::string> apiURL;  ///< none: GitHub's
};

/// `orvik playbook from-backup`.
struct PlaybookFromBackupArguments {
  FolderArguments at;
  std::optional<std::string> backup;  ///< none: the newest
  std::vector<std::string> sections;  ///< none: all that playbooks know
  std::string out;                    ///< file
};

/// What the commands on relations share.
struct RelationsArguments : OrgServerArguments {
  std::string name;  ///< of what it is about
  bool dot = false;  ///< a drawing instead of tables
};

/// `orvik relations group`, of a name or an ID.
struct GroupRelationsArguments : RelationsArguments {};

/// `orvik relations device`, of an ID or a serial number.
struct DeviceRelationsArguments : RelationsArguments {};

/// `orvik relations attribute`.
struct AttributeRelationsArguments : RelationsArguments {};

/// `orvik export-server`.
struct ExportServerArguments : OrgServerArguments {
  std::string to;  ///< folder
};

/// `orvik patch-report`: at least one of the files.
struct PatchReportArguments : OrgServerArguments {
  std::string title;  ///< name or ID
  std::optional<std::string> csv;
  std::optional<std::string> pdf;
};

/// `orvik mcp tools`: what the tool server offers.
struct MCPToolsArguments : OutputArguments {
  bool write = false;
  std::optional<std::string> folder;  ///< of backups
  std::optional<std::string> key;     ///< PEM file
};

/// `orvik mcp`.
struct MCPArguments : MCPToolsArguments {
  std::uint16_t port = 8765;  ///< 0 takes a free one
  bool stdio = false;         ///< over standard input and output instead
  bool noToken = false;
  std::optional<std::string> database;  ///< of organizations; none: the user's own
  std::string caFile;
};

/// A text to print and nothing else to do: help or version.
struct PrintText {
  std::string text;
};

struct CompletionArguments {
  std::string shell;  ///< bash, zsh or fish
};

struct ManualArguments {
  std::string out;
  bool quiet = false;
};

using Invocation = std::variant<
    PrintText, BackupArguments, ShowSettingsArguments, ChooseSettingArguments, SimulationArguments,
    DemoArguments, SampleServerArguments, PackArguments, CollectArguments, RetentionArguments, CheckArguments,
    RepairArguments, StatsArguments, ShowLockArguments, UnlockArguments, SectionsArguments, ShowArguments,
    DiffArguments, SearchArguments, HistoryArguments, ExportArguments, BrowseArguments,
    ListInstancesArguments, AddInstanceArguments, RemoveInstanceArguments, TestInstanceArguments,
    ListRunsArguments, AddRunArguments, RemoveRunsArguments, RunScheduleArguments, StatusArguments,
    DoctorArguments, ListOrgsArguments, AddOrgArguments, RemoveOrgArguments, RenameOrgArguments,
    CheckPlaybookArguments, NextPlaybookRunArguments, PlanPlaybookArguments, ApplyPlaybookArguments,
    FetchPlaybookArguments, PlaybookFromBackupArguments, GroupRelationsArguments, DeviceRelationsArguments,
    AttributeRelationsArguments, ExportServerArguments, PatchReportArguments, MCPToolsArguments, MCPArguments,
    CompletionArguments, ManualArguments>;

}  // namespace orvik::host
