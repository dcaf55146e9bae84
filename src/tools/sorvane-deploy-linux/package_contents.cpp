#include "package_contents.h"

#include <algorithm>

namespace selfdeploy {

namespace {

using Kind = ArchivedValue::Kind;

// Text as the package reader takes it: a string, or bytes read as UTF-8.
std::string textOf(const ArchivedValue* value) {
    if (!value || (value->kind != Kind::String && value->kind != Kind::Data))
        return {};
    return value->bytes;
}

std::vector<PackagedDomain> domainsOf(const ArchivedValue* prefs) {
    std::vector<PackagedDomain> domains;
    if (!prefs || prefs->kind != Kind::Dictionary)
        return domains;
    for (const auto& [name, text] : prefs->entries)
        domains.push_back({name, textOf(text.get())});
    return domains;
}

std::vector<PackagedFile> filesOf(const ArchivedValue* files) {
    std::vector<PackagedFile> result;
    if (!files || files->kind != Kind::Dictionary)
        return result;
    for (const auto& [path, bytes] : files->entries)
        result.push_back({path, textOf(bytes.get())});
    return result;
}

void addRecords(const ArchivedValue* records, bool applications, PackageContents& contents) {
    if (!records || records->kind != Kind::Array)
        return;
    for (const ArchivedRef& record : records->items) {
        if (record->kind != Kind::Dictionary)
            continue;
        PackagedItem item;
        item.application = applications;
        item.name = textOf(record->find("name"));
        if (item.name.empty())
            continue;
        item.description = textOf(record->find("description"));
        item.identifier = textOf(record->find("appId"));
        item.domains = domainsOf(record->find("prefs"));
        if (applications)
            item.files = filesOf(record->find("files"));
        contents.items.push_back(std::move(item));
    }
}

} // namespace

std::optional<PackageContents> PackageContents::fromArchive(const ArchivedValue& root,
                                                            std::string* problem) {
    if (root.kind != Kind::Dictionary) {
        *problem = "the package's root is not a dictionary";
        return std::nullopt;
    }
    PackageContents contents;
    addRecords(root.find("system"), false, contents);
    addRecords(root.find("applications"), true, contents);
    if (contents.items.empty()) {
        *problem = "no settings could be extracted from the package";
        return std::nullopt;
    }
    return contents;
}

std::size_t PackageContents::componentCount() const {
    return std::size_t(std::count_if(items.begin(), items.end(),
                                     [](const PackagedItem& item) { return !item.application; }));
}

std::size_t PackageContents::applicationCount() const {
    return items.size() - componentCount();
}

std::size_t PackageContents::domainCount() const {
    std::size_t count = 0;
    for (const PackagedItem& item : items)
        count += item.domains.size();
    return count;
}

std::size_t PackageContents::fileCount() const {
    std::size_t count = 0;
    for (const PackagedItem& item : items)
        count += item.files.size();
    return count;
}

} // namespace selfdeploy
