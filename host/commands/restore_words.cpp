// SPDX-License-Identifier: MIT
#include "commands/restore_words.h"

#include <algorithm>
#include <set>
#include <stdexcept>

#include "commands/restore_line.h"
#include "commands/usage_error.h"
#include "report/user_error.h"
#include "restoration/method_choice.h"

namespace rydecon {

namespace {

/// Options that name one file which several images cannot share.
constexpr const char* kSingleFiles[] = {"--psf-out", "--checkpoint", "--resume", "--curve", "--report"};

/// Options of a whole run: they have no meaning for one image of it.
const std::set<std::string>& OptionsOfRun() {
    static const std::set<std::string> names = {"help",   "config",    "print-config", "image",
                                                "output", "manifest",  "recursive",    "suffix",
                                                "jobs",   "overwrite", "quiet",        "no-sidecar"};
    return names;
}

std::string NameOf(const CLI::Option& option) {
    return option.get_single_name();
}

bool IsFlag(const CLI::Option& option) {
    return option.get_expected_max() == 0;
}

/// The options of restore that count for each image of several.
std::vector<const CLI::Option*> OptionsOfImage(const CLI::App& command) {
    std::vector<const CLI::Option*> options;
    for (const CLI::Option* option : command.get_options()) {
        if (OptionsOfRun().count(NameOf(*option)) == 0) options.push_back(option);
    }
    return options;
}

/// A flag, or an option that was given without the value that it may have.
bool StandsAlone(const CLI::Option& option) {
    const bool maybe = option.get_expected_min() == 0 && option.get_expected_max() > 0;
    return maybe ? option.results().empty() || option.results().back().empty() : IsFlag(option);
}

bool Truth(const std::string& column, const std::string& text) {
    try {
        return CLI::detail::to_flag_value(text) > 0;
    } catch (const std::invalid_argument&) {
        throw UserError("column " + column + " cannot be '" + text + "'; true or false is needed",
                        ExitCode::Usage);
    }
}

void CheckMethod(const RestoreJob& job) {
    const MethodChoice methods = FindMethods(job.method);
    RefuseUnread(methods, job.given, "");
    if (methods.volume != nullptr) {
        CheckSettings(*methods.volume, job.settings);
    } else {
        CheckSettings(*methods.picture, job.settings);
    }
    RequireSound(job.psf.optics);
}

}  // namespace

std::vector<std::string> RestoreWords::Columns() const {
    std::vector<std::string> columns;
    for (const CLI::Option* option : OptionsOfImage(command_)) columns.push_back(NameOf(*option));
    return columns;
}

std::vector<std::string> RestoreWords::WordsFor(const std::string& image, const std::string& output,
                                                const std::vector<NamedCell>& cells) const {
    std::vector<std::string> words;
    std::set<const CLI::Option*> decided;
    for (const auto& [column, text] : cells) {
        if (text.empty()) continue;
        std::string word = "--" + column;
        const CLI::Option* const option = command_.get_option(word);
        decided.insert(option);
        if (!IsFlag(*option)) {
            words.push_back((word += '=') += text);
        } else if (Truth(column, text)) {
            words.push_back(word);
        } else {
            continue;
        }
        for (const CLI::Option* excluded : option->get_excludes()) decided.insert(excluded);
    }
    for (const CLI::Option* option : OptionsOfImage(command_)) {
        if (option->count() == 0 || decided.count(option) > 0) continue;
        const std::string name = NameOf(*option);
        const bool file = std::find(std::begin(kSingleFiles), std::end(kSingleFiles), "--" + name) !=
                          std::end(kSingleFiles);
        if (file && !StandsAlone(*option)) {
            throw UserError(
                "--" + name + " names one file for several images; give each its own in a manifest",
                ExitCode::Usage);
        }
        if (StandsAlone(*option)) {
            words.push_back("--" + name);
            continue;
        }
        const std::string start = "--" + name + "=";
        for (const std::string& text : option->results()) words.push_back(start + text);
    }
    for (const char* flag : {"--overwrite", "--no-sidecar"}) {
        if (command_.count(flag) > 0) words.emplace_back(flag);
    }
    if (quiet_) words.emplace_back("--quiet");
    words.insert(words.end(), {"--output=" + output, "--", image});
    return words;
}

RestoreJob RestoreWords::Parse(const std::vector<std::string>& words) {
    CLI::App app;
    app.add_flag("-q,--quiet");
    RestoreLine line;
    AddRestoreOptions(app, line);
    try {
        app.parse(std::vector<std::string>(words.rbegin(), words.rend()));
    } catch (const CLI::ParseError& error) {
        throw UserError(DescribeValueError(app, error), ExitCode::Usage);
    }
    RestoreJob job = JobOf(app, line);
    job.image = line.images.front();
    CheckMethod(job);
    return job;
}

}  // namespace rydecon
