// Benchmarks of the records: runs kept durably and forwarded, against files and rows of JSON.
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <utility>

#include <fcntl.h>
#include <soci/postgresql/soci-postgresql.h>
#include <unistd.h>

#include "apps/station/records/Forwarder.h"
#include "apps/station/report/Json.h"
#include "bench/Measure.h"
#include "bench/station/SampleRun.h"

namespace {

using namespace Station;

constexpr std::size_t CHECKS = 25;

void Expect(bool condition, const char* problem)
{
    if (!condition) {
        std::fprintf(stderr, "%s\n", problem);
        std::exit(1);
    }
}

RunRecord Finished()
{
    RunRecord run = SampleRun("A-17", CHECKS);
    run.verdict = Judge(run);
    return run;
}

/// Writes the text behind what the file has, and waits for the disk.
void Append(const std::string& file, const std::string& text)
{
    const int fd = open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    const bool isWritten = write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    Expect(isWritten && fdatasync(fd) == 0, "a file cannot be written");
    close(fd);
}

/// What holds the same promise: no judged check is lost.
void AppendEachCheck(const std::string& file, RunRecord run)
{
    run.verdict = Verdict::InProgress;
    const std::vector<CheckRecord> checks = std::exchange(run.checks, {});
    Append(file, ToJson(run));
    for (const CheckRecord& check : checks) {
        run.checks = {check};
        Append(file, ToJson(run));
    }
    run.checks.clear();
    run.verdict = Verdict::Pass;
    Append(file, ToJson(run));
    Append(file, "{}");
}

/// What many write: one file at the end of the run.
void WriteFile(const std::string& folder, const RunRecord& run)
{
    Append(folder + '/' + run.id + ".json", ToJson(run));
    const int fd = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    Expect(fsync(fd) == 0, "the folder cannot be written");
    close(fd);
}

void BenchKeeping(const std::string& folder)
{
    Records records(folder + "/records.db");
    const auto sink = records.NewSink();
    std::filesystem::create_directory(folder + "/files");
    const auto times = ::Bench::Compare({
        [&] { Keep(*sink, SampleRun("A-17", CHECKS)); },
        [&] { AppendEachCheck(folder + "/checks.json", SampleRun("A-17", CHECKS)); },
        [&] { WriteFile(folder + "/files", Finished()); },
    });
    std::fprintf(stderr,
                 "run kept, each check synced  %8.1f /s     a JSON file, the same  %8.1f /s   ratio %.2f\n"
                 "                             %8s        a JSON file at the end %8.1f /s   ratio %.2f\n",
                 1 / times[0], 1 / times[1], times[1] / times[0], "", 1 / times[2], times[2] / times[0]);
}

/// A document a run, each its own transaction.
double InsertDocuments(const std::string& url, int runs)
{
    soci::session sql(soci::postgresql, url);
    sql << "create table document (id text primary key, run jsonb not null)";
    return ::Bench::TimeCalls(
        [&] {
            const RunRecord run = Finished();
            const std::string json = ToJson(run);
            sql << "insert into document (id, run) values (:id, cast(:run as jsonb))", soci::use(run.id),
                soci::use(json);
        },
        runs);
}

double ForwardRuns(const std::string& file, const std::string& url, int runs)
{
    Records records(file);
    const auto sink = records.NewSink();
    for (int i = 0; i < runs; ++i) {
        Keep(*sink, SampleRun("A-17", CHECKS));
    }
    const std::atomic<bool> stop{false};
    Forwarder forwarder({file, url}, stop);
    const double seconds = ::Bench::TimeCalls([&] { forwarder.Send(); }, 1);
    Expect(forwarder.Sent() == runs, "runs are missing");
    return seconds / runs;
}

void Empty(const std::string& url)
{
    soci::session sql(soci::postgresql, url);
    sql << "set client_min_messages = warning";
    sql << "drop schema public cascade";
    sql << "create schema public";
}

void BenchForwarding(const std::string& folder)
{
    constexpr int ROUNDS = 5;
    constexpr int RUNS = 100;
    const char* const url = std::getenv("TESTMODE_BENCH_SERVER");
    if (url == nullptr) {
        std::fprintf(stderr, "run forwarded                PostgreSQL is not installed\n");
        return;
    }
    std::vector<double> forwarded;
    std::vector<double> inserted;
    for (int round = 0; round < ROUNDS; ++round) {
        const std::string file = folder + "/forwarded" + std::to_string(round) + ".db";
        Empty(url);
        forwarded.push_back(ForwardRuns(file, url, RUNS));
        Empty(url);
        inserted.push_back(InsertDocuments(url, RUNS));
    }
    const double ours = ::Bench::Median(forwarded);
    const double theirs = ::Bench::Median(inserted);
    std::fprintf(stderr, "run forwarded to PostgreSQL  %8.1f /s     one JSON row a run     %8.1f /s   ratio %.2f\n",
                 1 / ours, 1 / theirs, theirs / ours);
}

}  // namespace

int main()
{
    // Beside the program: temporary folders may be in memory.
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe");
    const std::string folder = program.string() + "-" + std::to_string(getpid());
    std::filesystem::create_directory(folder);
    BenchKeeping(folder);
    BenchForwarding(folder);
    std::filesystem::remove_all(folder);
}
