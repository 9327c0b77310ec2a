// backup: a copy of the records.
#include <filesystem>
#include <stdexcept>

#include "apps/station/commands/Commands.h"
#include "apps/station/records/Upkeep.h"
#include "apps/station/report/ReportFile.h"

namespace Station {

int Backup(const Options& options)
{
    const std::string& file = options.question.file;
    if (std::filesystem::exists(std::filesystem::symlink_status(file))) {
        throw std::runtime_error(file + " is there already: a backup replaces no file");
    }
    Database database = Database::Existing(options.records);
    ReportFile copy(file, false);
    copy.Prepare([&](int /*fd*/, const std::string& path) { BackUp(database, path); });
    copy.Publish();
    return 0;
}

}  // namespace Station
