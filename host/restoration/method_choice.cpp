// SPDX-License-Identifier: MIT
#include "restoration/method_choice.h"

#include <algorithm>

#include "io/stack_reader.h"
#include "report/similar_name.h"
#include "report/user_error.h"
#include "restoration/stack_volume.h"

namespace rydecon {

namespace {

template <class AnyMethod>
const AnyMethod* Find(const std::vector<AnyMethod>& methods, const std::string& name) {
    const auto found = std::find_if(methods.begin(), methods.end(),
                                    [&name](const AnyMethod& method) { return method.name == name; });
    return found != methods.end() ? &*found : nullptr;
}

template <class AnyMethod>
bool Reads(const AnyMethod* method, const std::string& option) {
    return method != nullptr &&
           std::find(method->reads.begin(), method->reads.end(), option) != method->reads.end();
}

/// Names of all methods that `include` takes, each once.
template <class Include>
std::vector<std::string> NamesWhere(Include include) {
    std::vector<std::string> names;
    const auto add = [&](const auto& methods) {
        for (const auto& method : methods) {
            const bool known = std::find(names.begin(), names.end(), method.name) != names.end();
            if (!known && include(method)) names.push_back(method.name);
        }
    };
    add(Methods());
    add(PictureMethods());
    return names;
}

std::string Listed(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
    return text;
}

}  // namespace

MethodChoice FindMethods(const std::string& name) {
    const MethodChoice choice = {Find(Methods(), name), Find(PictureMethods(), name)};
    if (choice.volume != nullptr || choice.picture != nullptr) return choice;
    const std::vector<std::string> names = NamesWhere([](const auto&) { return true; });
    throw UserError("--method '" + name + "' does not exist" + DidYouMean(name, names) +
                        "; the methods are: " + Listed(names),
                    ExitCode::Usage);
}

void RefuseUnread(const MethodChoice& choice, const std::vector<std::string>& given, const std::string& on) {
    const auto unread = std::find_if(given.begin(), given.end(), [&choice](const std::string& option) {
        return !Reads(choice.volume, option) && !Reads(choice.picture, option);
    });
    if (unread == given.end()) return;
    throw UserError(*unread + " means nothing to --method " + choice.name() + on + "; it is read by " +
                        Listed(NamesWhere([&unread](const auto& method) { return Reads(&method, *unread); })),
                    ExitCode::Usage);
}

MethodChoice MethodsForImage(const RestoreJob& job) {
    MethodChoice methods = FindMethods(job.method);
    RefuseUnread(methods, job.given, "");
    if (methods.volume == nullptr || methods.picture == nullptr) return methods;
    CheckSettings(*methods.volume, job.settings);
    const bool onePlane = SlicesOf(StackReader(job.image, Messages(true), Accept::AnyStack).header()) == 1;
    if (onePlane || job.perPlane) {
        methods.volume = nullptr;
        RefuseUnread(methods, job.given, " on pictures");
    } else {
        methods.picture = nullptr;
        RefuseUnread(methods, job.given, " on stacks");
    }
    return methods;
}

}  // namespace rydecon
