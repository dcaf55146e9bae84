#include "keyed_archive_reader.h"

#include "binary_plist.h"

namespace selfdeploy {

const ArchivedValue* ArchivedValue::find(const std::string& key) const {
    const auto found = entries.find(key);
    return found == entries.end() ? nullptr : found->second.get();
}

namespace {

using Kind = ArchivedValue::Kind;
constexpr std::int64_t kVersion = 100000;

// The class names a package may hold and what each one is.
bool kindOfClass(const std::string& name, Kind* kind) {
    static const std::map<std::string, Kind> allowed = {{"NSDictionary", Kind::Dictionary},
                                                        {"NSMutableDictionary", Kind::Dictionary},
                                                        {"NSArray", Kind::Array},
                                                        {"NSMutableArray", Kind::Array},
                                                        {"NSString", Kind::String},
                                                        {"NSMutableString", Kind::String},
                                                        {"NSData", Kind::Data},
                                                        {"NSMutableData", Kind::Data},
                                                        {"NSImage", Kind::Image}};
    const auto found = allowed.find(name);
    if (found == allowed.end())
        return false;
    *kind = found->second;
    return true;
}

class Decoder {
public:
    ArchivedRef decode(const PlistNode& archive, std::string* error) {
        ArchivedRef root;
        std::uint64_t rootUid = 0;
        if (readHeader(archive, &rootUid))
            root = resolve(rootUid, 0);
        if (!error_.empty()) {
            if (error)
                *error = error_;
            return nullptr;
        }
        return root;
    }

private:
    enum class State { Unread, InProgress, Done };

    bool fail(const std::string& what) {
        if (error_.empty())
            error_ = what;
        return false;
    }

    // A reference: a UID, or the {"CF$UID": n} dictionary some writers use.
    static bool uidOf(const PlistNode* value, std::uint64_t* uid) {
        if (!value)
            return false;
        if (value->kind == PlistNode::Kind::Uid) {
            *uid = value->uid;
            return true;
        }
        const PlistNode* inner =
            value->kind == PlistNode::Kind::Dictionary && value->entries.size() == 1
                ? value->find("CF$UID")
                : nullptr;
        if (!inner || inner->kind != PlistNode::Kind::Integer || inner->integer < 0)
            return false;
        *uid = std::uint64_t(inner->integer);
        return true;
    }

    bool readHeader(const PlistNode& archive, std::uint64_t* rootUid) {
        if (archive.kind != PlistNode::Kind::Dictionary)
            return fail("the archive is not a dictionary");
        const PlistNode* archiver = archive.find("$archiver");
        const PlistNode* version = archive.find("$version");
        const PlistNode* top = archive.find("$top");
        const PlistNode* objects = archive.find("$objects");
        if (!archiver || archiver->kind != PlistNode::Kind::String ||
            archiver->bytes != "NSKeyedArchiver")
            return fail("missing or unknown $archiver");
        if (!version || version->kind != PlistNode::Kind::Integer || version->integer != kVersion)
            return fail("missing or unknown $version");
        if (!top || top->kind != PlistNode::Kind::Dictionary || !uidOf(top->find("root"), rootUid))
            return fail("missing $top root reference");
        if (!objects || objects->kind != PlistNode::Kind::Array || objects->items.empty() ||
            objects->items.front()->kind != PlistNode::Kind::String ||
            objects->items.front()->bytes != "$null")
            return fail("missing $objects or its $null entry");
        objects_ = &objects->items;
        states_.assign(objects_->size(), State::Unread);
        cache_.assign(objects_->size(), nullptr);
        return true;
    }

    ArchivedRef resolve(std::uint64_t uid, int depth) {
        if (uid == 0)
            return fail("a reference to $null"), nullptr;
        if (uid >= objects_->size())
            return fail("a reference out of range"), nullptr;
        if (depth > KeyedArchiveReader::maxDepth)
            return fail("objects nested too deeply"), nullptr;
        if (states_[uid] == State::Done)
            return cache_[uid];
        if (states_[uid] == State::InProgress)
            return fail("a reference cycle"), nullptr;
        states_[uid] = State::InProgress;
        ArchivedRef value = decodeObject(*(*objects_)[uid], depth);
        if (!value)
            return nullptr;
        states_[uid] = State::Done;
        cache_[uid] = value;
        return value;
    }

    ArchivedRef resolveReference(const PlistNode* reference, int depth) {
        std::uint64_t uid = 0;
        if (!uidOf(reference, &uid))
            return fail("expected an object reference"), nullptr;
        return resolve(uid, depth);
    }

    ArchivedRef decodeObject(const PlistNode& object, int depth) {
        auto value = std::make_shared<ArchivedValue>();
        if (object.kind == PlistNode::Kind::String || object.kind == PlistNode::Kind::Data) {
            value->kind = object.kind == PlistNode::Kind::String ? Kind::String : Kind::Data;
            value->bytes = object.bytes;
            return value;
        }
        const PlistNode* classRef =
            object.kind == PlistNode::Kind::Dictionary ? object.find("$class") : nullptr;
        if (!classRef)
            return fail("an object of a class that packages never hold"), nullptr;
        if (!classOf(classRef, &value->kind))
            return nullptr;
        switch (value->kind) {
        case Kind::Dictionary:
            return dictionary(object, depth, value) ? value : nullptr;
        case Kind::Array:
            return array(object, depth, value) ? value : nullptr;
        case Kind::String:
            return wrapped(object, "NS.string", depth, value) ? value : nullptr;
        case Kind::Data:
            return wrapped(object, "NS.data", depth, value) ? value : nullptr;
        case Kind::Image:
            return value;
        }
        return nullptr;
    }

    bool classOf(const PlistNode* reference, Kind* kind) {
        std::uint64_t uid = 0;
        if (!uidOf(reference, &uid) || uid == 0 || uid >= objects_->size())
            return fail("a bad $class reference");
        const PlistNode& entry = *(*objects_)[uid];
        const PlistNode* name = entry.find("$classname");
        const PlistNode* classes = entry.find("$classes");
        if (!name || name->kind != PlistNode::Kind::String || !classes ||
            classes->kind != PlistNode::Kind::Array)
            return fail("a malformed class entry");
        if (!kindOfClass(name->bytes, kind))
            return fail("the class " + name->bytes + " is not allowed in a package");
        return true;
    }

    // NS.string and NS.data: the value itself or a reference to it.
    bool wrapped(const PlistNode& object, const char* key, int depth,
                 const std::shared_ptr<ArchivedValue>& value) {
        const PlistNode* inner = object.find(key);
        if (!inner)
            return fail(std::string("an object lacks ") + key);
        const PlistNode::Kind wanted =
            value->kind == Kind::String ? PlistNode::Kind::String : PlistNode::Kind::Data;
        if (inner->kind == wanted) {
            value->bytes = inner->bytes;
            return true;
        }
        const ArchivedRef resolved = resolveReference(inner, depth + 1);
        if (!resolved)
            return false;
        if (resolved->kind != value->kind)
            return fail(std::string(key) + " has the wrong type");
        value->bytes = resolved->bytes;
        return true;
    }

    const PlistNode* list(const PlistNode& object, const char* key) {
        const PlistNode* found = object.find(key);
        if (!found || found->kind != PlistNode::Kind::Array) {
            fail(std::string("a collection lacks ") + key);
            return nullptr;
        }
        return found;
    }

    bool array(const PlistNode& object, int depth, const std::shared_ptr<ArchivedValue>& value) {
        const PlistNode* objects = list(object, "NS.objects");
        if (!objects)
            return false;
        for (const PlistRef& reference : objects->items) {
            ArchivedRef item = resolveReference(reference.get(), depth + 1);
            if (!item)
                return false;
            value->items.push_back(std::move(item));
        }
        return true;
    }

    bool dictionary(const PlistNode& object, int depth,
                    const std::shared_ptr<ArchivedValue>& value) {
        const PlistNode* keys = list(object, "NS.keys");
        const PlistNode* objects = keys ? list(object, "NS.objects") : nullptr;
        if (!objects)
            return false;
        if (keys->items.size() != objects->items.size())
            return fail("NS.keys and NS.objects differ in length");
        for (std::size_t i = 0; i < keys->items.size(); ++i) {
            const ArchivedRef key = resolveReference(keys->items[i].get(), depth + 1);
            if (key && key->kind != Kind::String)
                return fail("a dictionary key is not a string");
            ArchivedRef item = key ? resolveReference(objects->items[i].get(), depth + 1) : nullptr;
            if (!item)
                return false;
            value->entries[key->bytes] = std::move(item);
        }
        return true;
    }

    const std::vector<PlistRef>* objects_ = nullptr;
    std::vector<State> states_;
    std::vector<ArchivedRef> cache_;
    std::string error_;
};

} // namespace

ArchivedRef KeyedArchiveReader::read(std::string_view data, std::string* error) {
    std::string problem;
    const PlistRef archive = BinaryPlist::parse(data, &problem);
    if (!archive) {
        if (error)
            *error = problem;
        return nullptr;
    }
    return Decoder().decode(*archive, error);
}

} // namespace selfdeploy
