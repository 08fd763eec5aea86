// What a change did to a database. Order is kept by all of the library's operations, so that two walks side by side
// tell; one operation only adds, only removes or only updates.
#include "db/change.h"
#include "json.h"
#include "text.h"

namespace tarn::tool {

namespace {

// Calls `report` with each pair that differs: null for what is not there.
template <typename Item, typename Report>
void eachDifference(const std::vector<Item> &before, const std::vector<Item> &after, Report report)
{
    size_t old = 0;
    size_t fresh = 0;
    while (old < before.size() || fresh < after.size()) {
        const size_t oldLeft = before.size() - old;
        const size_t freshLeft = after.size() - fresh;
        if (oldLeft > 0 && freshLeft > 0 && before[old] == after[fresh]) {
            ++old;
            ++fresh;
            continue;
        }
        const Item *removed = oldLeft >= freshLeft ? &before[old++] : nullptr;
        const Item *added = freshLeft >= oldLeft ? &after[fresh++] : nullptr;
        report(removed, added);
    }
}

Json fieldsJson(const DbRecord *before, const DbRecord *after, std::span<const DbField> fields)
{
    Json json = Json::array();
    for (size_t index = 0; before != nullptr && after != nullptr && index < fields.size(); ++index) {
        if (before->values[index] != after->values[index]) {
            json.push_back(
                {{"element", fields[index].element}, {"before", before->text(index)}, {"after", after->text(index)}});
        }
    }
    return json;
}

const char *verb(const void *before, const void *after)
{
    return before == nullptr ? "added" : after == nullptr ? "removed" : "updated";
}

void addPartChanges(const DbPackage &before, const DbPackage &after, PartKind kind, Json &changes)
{
    eachDifference(before.parts(kind), after.parts(kind), [&](const DbRecord *old, const DbRecord *fresh) {
        const DbRecord &part = fresh != nullptr ? *fresh : *old;
        changes.push_back({{"change", verb(old, fresh)},
                           {"element", partWord(kind)},
                           {"name", part.text(kPartName)},
                           {"version", part.text(kPartVersion)},
                           {"package", after.name()},
                           {"package_version", after.version()},
                           {"fields", fieldsJson(old, fresh, partFields(kind))}});
    });
}

} // namespace

Json changesJson(const DbContents &before, const DbContents &after)
{
    Json changes = Json::array();
    eachDifference(before.packages, after.packages, [&](const DbPackage *old, const DbPackage *fresh) {
        const DbPackage &package = fresh != nullptr ? *fresh : *old;
        if (old == nullptr || fresh == nullptr || !(old->base == fresh->base)) {
            changes.push_back({{"change", verb(old, fresh)},
                               {"element", "package"},
                               {"name", package.name()},
                               {"version", package.version()},
                               {"fields", fieldsJson(old != nullptr ? &old->base : nullptr,
                                                     fresh != nullptr ? &fresh->base : nullptr, baseFields())}});
        }
        if (old != nullptr && fresh != nullptr) {
            addPartChanges(*old, *fresh, PartKind::Patch, changes);
            addPartChanges(*old, *fresh, PartKind::Mod, changes);
        }
    });
    return changes;
}

std::string changesText(const Json &changes)
{
    const auto word = [](const Json &json, const char *key) { return escaped(json[key].get<std::string>()); };
    std::string text;
    for (const Json &change : changes) {
        text += word(change, "change") + " " + word(change, "element") + " " + word(change, "name") + " " +
                word(change, "version");
        if (change.contains("package")) {
            text += " of package " + word(change, "package") + " " + word(change, "package_version");
        }
        text += "\n";
        for (const Json &field : change["fields"]) {
            text += "    " + word(field, "element") + ": " + inQuotes(field["before"].get<std::string>()) + " -> " +
                    inQuotes(field["after"].get<std::string>()) + "\n";
        }
    }
    return text;
}

} // namespace tarn::tool
