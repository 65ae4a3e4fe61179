// SPDX-License-Identifier: MIT
#include "batch/batch_run.h"

#include <poll.h>
#include <signal.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string_view>
#include <thread>

#include "batch/child_process.h"
#include "batch/file_warmer.h"
#include "io/file_error.h"
#include "record/sidecar.h"
#include "report/progress_bar.h"
#include "report/stop_request.h"
#include "report/terminal_messages.h"

namespace rydecon {

namespace {

constexpr std::string_view kErrorPrefix = "rydecon: error: ";
constexpr int kMillisecondsOfPoll = 200;  // a signal between two polls waits so long at most

/// Why an output that is there may not be replaced; empty where it is what this item asks for.
std::string ReasonToRefuse(const BatchItem& item, const std::string& version) {
    const std::optional<EarlierRun> earlier = ReadSidecar(item.output);
    const char* const kRemedy = "; add --overwrite to replace it";
    if (!earlier) return std::string("the file exists already, and no record tells what made it") + kRemedy;
    const InputIdentities inputs = IdentifyInputs(item.job, earlier->inputs, OnStop::Leave);
    if (earlier->settingsHash != SettingsHash(item.job, inputs, version)) {
        return std::string("the file exists already, made with other settings or from other files") + kRemedy;
    }
    if (!IdentityOf(item.output, earlier->output, OnStop::Leave).SameContent(earlier->output)) {
        return std::string("the file exists already and was changed since it was made") + kRemedy;
    }
    return "";
}

/// Whether a file that the item asks for beside its output is missing. UserError where another one is there, which
/// restoring the image once more would replace.
bool LacksFileBeside(const BatchItem& item) {
    std::optional<std::filesystem::path> there;
    bool lacks = false;
    for (const std::filesystem::path& file : {item.job.report, item.job.curveOutput, item.job.psfOutput}) {
        if (file.empty()) continue;
        if (StampOf(file)) {
            there = file;
        } else {
            lacks = true;
        }
    }
    if (lacks && there) throw WriteError(*there, "the file exists already; add --overwrite to replace it");
    return lacks;
}

/// Threads for each of the processes that run at a time, as a setting of the environment.
std::vector<std::string> ShareOfThreads(unsigned jobs) {
    if (jobs <= 1) return {};
    const char* const wanted = std::getenv("OMP_NUM_THREADS");
    const int given = wanted != nullptr ? std::atoi(wanted) : 0;
    const unsigned all = given > 0 ? static_cast<unsigned>(given) : std::thread::hardware_concurrency();
    std::vector<std::string> share = {"OMP_NUM_THREADS=" + std::to_string(std::max(all / jobs, 1U))};
    // Threads that spin while they wait would take the processors from the other images.
    if (std::getenv("OMP_WAIT_POLICY") == nullptr) share.emplace_back("OMP_WAIT_POLICY=passive");
    return share;
}

/// The last error line among what a process said.
std::string ErrorIn(const std::string& text) {
    const auto at = text.rfind(kErrorPrefix);
    if (at == std::string::npos) return "";
    const auto begin = at + kErrorPrefix.size();
    return text.substr(begin, text.find('\n', begin) - begin);
}

std::string ReasonOf(const ChildEnd& end) {
    if (end.signal != 0) {
        return "its process was ended by signal " + std::to_string(end.signal) + " (" +
               strsignal(end.signal) + ")" + (end.signal == SIGKILL ? ", perhaps for want of memory" : "");
    }
    const std::string error = ErrorIn(end.err);
    return error.empty() ? "its process ended with code " + std::to_string(end.exitCode) : error;
}

class BatchRun {
  public:
    BatchRun(const std::vector<BatchItem>& items, const BatchSettings& settings, const Messages& messages)
        : items_(items),
          settings_(settings),
          messages_(messages),
          jobs_(std::min<std::size_t>(settings.jobs, items.size())),
          environment_(ShareOfThreads(static_cast<unsigned>(jobs_))),
          bar_(static_cast<unsigned>(items.size()), "restoring", messages) {
        for (const BatchItem& item : items) outcomes_.emplace_back().image = item.image;
    }

    std::vector<BatchOutcome> Run() {
        while (next_ < items_.size() || !running_.empty()) {
            if (StopRequested()) PassStopOn();
            while (next_ < items_.size() && MayBegin() && !StopRequested()) Begin(next_++);
            Listen();
        }
        bar_.Finish();
        return std::move(outcomes_);
    }

  private:
    struct Running {
        std::size_t item;
        std::unique_ptr<ChildProcess> process;
    };

    /// So many compute at a time, and as many more may write what they have computed.
    bool MayBegin() const {
        const auto computing = static_cast<std::size_t>(
            std::count_if(running_.begin(), running_.end(),
                          [](const Running& running) { return !running.process->PassedTurn(); }));
        return computing < jobs_ && running_.size() < 2 * jobs_;
    }

    void PassStopOn() {
        next_ = items_.size();
        if (!stopPassedOn_) {
            for (const Running& running : running_) running.process->Stop();
        }
        stopPassedOn_ = true;
    }

    void Begin(std::size_t n) {
        const BatchItem& item = items_[n];
        try {
            std::vector<std::string> words = {"restore"};
            if (!settings_.overwrite && StampOf(item.output)) {
                const std::string reason = ReasonToRefuse(item, settings_.version);
                if (!reason.empty()) throw WriteError(item.output, reason);
                if (!LacksFileBeside(item)) {
                    LeaveAlone(n);
                    return;
                }
                words.emplace_back("--overwrite");  // by the same samples
            }
            words.insert(words.end(), item.words.begin(), item.words.end());
            running_.push_back({n, std::make_unique<ChildProcess>(words, environment_)});
            WarmNext();
        } catch (const UserError& failure) {
            if (failure.code() == ExitCode::Stopped) return;
            Fail(n, failure.what());
        }
    }

    /// The image that is restored next is read from the disk while this one is restored.
    void WarmNext() {
        if (next_ >= items_.size()) return;
        const BatchItem& item = items_[next_];
        if (!settings_.overwrite && StampOf(item.output)) return;  // left alone as a rule
        std::vector<std::filesystem::path> files = {item.image};
        for (const PsfChoice& psf : PsfsOf(item.job)) {
            if (!psf.file.empty()) files.push_back(psf.file);
        }
        warmer_.Warm(std::move(files));
    }

    void LeaveAlone(std::size_t n) {
        const std::optional<EarlierRun> earlier = ReadSidecar(items_[n].output);
        outcomes_[n].state = BatchState::AlreadyDone;
        if (earlier && earlier->iterative) outcomes_[n].iterations = earlier->iterations;
        if (!messages_.quiet()) {
            Print("", OneLine(items_[n].output.native()) + ": already restored with these settings\n");
        }
        bar_.Advance(1);
    }

    void Fail(std::size_t n, const std::string& reason) {
        outcomes_[n].state = BatchState::Failed;
        outcomes_[n].reason = reason;
        PrintError(reason);
        bar_.Advance(1);
    }

    /// Takes what the processes say, and takes leave of those that end.
    void Listen() {
        std::vector<pollfd> channels;
        constexpr std::size_t kOfEach = 3;
        for (const Running& running : running_) {
            channels.push_back({running.process->out(), POLLIN, 0});
            channels.push_back({running.process->err(), POLLIN, 0});
            channels.push_back({running.process->turn(), POLLIN, 0});
        }
        if (channels.empty() || poll(channels.data(), channels.size(), kMillisecondsOfPoll) <= 0) return;
        for (std::size_t k = 0; k < running_.size(); ++k) {
            const pollfd* const own = &channels[kOfEach * k];
            if (own[0].revents != 0) running_[k].process->ReadOut();
            if (own[1].revents != 0) running_[k].process->ReadErr();
            if (own[2].revents != 0) running_[k].process->ReadTurn();
        }
        const auto ended =
            std::stable_partition(running_.begin(), running_.end(),
                                  [](const Running& running) { return !running.process->Drained(); });
        for (auto at = ended; at != running_.end(); ++at) End(*at);
        running_.erase(ended, running_.end());
    }

    void End(const Running& running) {
        const ChildEnd end = running.process->Wait();
        BatchOutcome& outcome = outcomes_[running.item];
        outcome.seconds = end.seconds;
        outcome.peakMemory = end.peakMemory;
        Print(end.err, end.out);
        if (end.exitCode == static_cast<int>(ExitCode::Done)) {
            outcome.state = BatchState::Done;
            const std::optional<EarlierRun> record = ReadSidecar(items_[running.item].output);
            if (record && record->iterative) outcome.iterations = record->iterations;
        } else if (StopRequested()) {
            outcome.state = BatchState::Stopped;
        } else {
            outcome.state = BatchState::Failed;
            outcome.reason = ReasonOf(end);
            if (ErrorIn(end.err).empty()) PrintError(Quoted(outcome.image) + ": " + outcome.reason);
        }
        bar_.Advance(1);
    }

    static void Print(const std::string& err, const std::string& out) {
        ClearProgressLine();
        std::fwrite(err.data(), 1, err.size(), stderr);
        std::fwrite(out.data(), 1, out.size(), stdout);
        std::fflush(stdout);
    }

    const std::vector<BatchItem>& items_;
    const BatchSettings& settings_;
    const Messages& messages_;
    std::size_t jobs_;
    std::vector<std::string> environment_;
    ProgressBar bar_;
    std::vector<BatchOutcome> outcomes_;
    std::vector<Running> running_;
    FileWarmer warmer_;
    std::size_t next_ = 0;
    bool stopPassedOn_ = false;
};

}  // namespace

std::vector<BatchOutcome> RunBatch(const std::vector<BatchItem>& items, const BatchSettings& settings,
                                   const Messages& messages) {
    return BatchRun(items, settings, messages).Run();
}

}  // namespace rydecon
