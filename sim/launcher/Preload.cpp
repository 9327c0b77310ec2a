// Whether a library can be preloaded under a program: without it the program would reach the PC's own devices.
#include "sim/launcher/Preload.h"

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <optional>
#include <sstream>

#include <elf.h>
#include <link.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace Launch {

namespace {

constexpr int MAX_INTERPRETERS = 5;  // of scripts that are run by scripts, see execve(2)

bool IsExecutable(const std::string& path)
{
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && access(path.c_str(), X_OK) == 0;
}

/// The file that execvp would run, or an empty path.
std::string Found(const std::string& program)
{
    if (program.find('/') != std::string::npos) {
        return program;
    }
    const char* const path = std::getenv("PATH");
    std::istringstream folders(path != nullptr ? path : "/bin:/usr/bin");
    for (std::string folder; std::getline(folders, folder, ':');) {
        std::string candidate = (folder.empty() ? "." : folder) + "/" + program;
        if (IsExecutable(candidate)) {
            return candidate;
        }
    }
    return "";
}

/// The interpreter that a script names; std::nullopt for any other file.
std::optional<std::string> Interpreter(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    std::string line;
    if (file.get() != '#' || file.get() != '!' || !std::getline(file, line)) {
        return std::nullopt;
    }
    std::string interpreter;
    std::istringstream(line) >> interpreter;
    return interpreter;
}

using Header = ElfW(Ehdr);

/// The header of an ELF file; std::nullopt for any other file.
std::optional<Header> ReadHeader(std::istream& file)
{
    Header header = {};
    const bool isElf =
        file.read(reinterpret_cast<char*>(&header), sizeof header) && std::memcmp(header.e_ident, ELFMAG, SELFMAG) == 0;
    return isElf ? std::optional(header) : std::nullopt;
}

/// True for a file of this program's own architecture.
bool IsForThisProcessor(const Header& header)
{
    std::ifstream self("/proc/self/exe", std::ios::binary);
    const std::optional<Header> own = ReadHeader(self);
    return own && std::memcmp(header.e_ident, own->e_ident, EI_VERSION) == 0 && header.e_machine == own->e_machine;
}

bool NamesLoader(std::istream& file, const Header& header)
{
    file.seekg(static_cast<std::streamoff>(header.e_phoff));
    ElfW(Phdr) segment = {};
    for (int i = 0; i < header.e_phnum && file.read(reinterpret_cast<char*>(&segment), sizeof segment); ++i) {
        if (segment.p_type == PT_INTERP) {
            return true;
        }
    }
    return false;
}

bool GetsPrivileges(const std::string& path)
{
    struct stat status = {};
    return (stat(path.c_str(), &status) == 0 && (status.st_mode & (S_ISUID | S_ISGID)) != 0) ||
           getxattr(path.c_str(), "security.capability", nullptr, 0) > 0;
}

}  // namespace

std::string WhyNotPreloaded(const std::string& program)
{
    std::string path = Found(program);
    for (int i = 0; i < MAX_INTERPRETERS; ++i) {
        path = Interpreter(path).value_or(path);
    }
    std::ifstream file(path, std::ios::binary);
    const std::optional<Header> header = ReadHeader(file);
    if (!header) {
        return "";  // a script without an interpreter, which a shell runs, or nothing that can be run
    }
    const std::string which = path == program ? "it" : path;
    if (!IsForThisProcessor(*header)) {
        return which + " is built for another processor than the simulated board";
    }
    if (!NamesLoader(file, *header)) {
        return which + " is linked statically";
    }
    if (GetsPrivileges(path)) {
        return which + " is setuid, setgid or has file capabilities";
    }
    return "";
}

}  // namespace Launch
