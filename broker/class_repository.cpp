#include "class_repository.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "cim_value.h"
#include "mof_parser.h"

namespace vcim {

namespace {

std::string lower(std::string s) {
    for (auto& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

bool readWholeFile(const std::string& path, std::string& text) {
    std::error_code ec;
    if (std::filesystem::is_directory(path, ec)) return false;
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    std::ostringstream ss;
    ss << in.rdbuf();
    text = ss.str();
    return !in.bad();
}

std::string canonical(const std::string& path) {
    std::error_code ec;
    auto p = std::filesystem::weakly_canonical(path, ec);
    return ec ? path : p.string();
}

// Fills in what an overriding declaration leaves out (Override itself is not inherited).
void inheritQualifiers(Qualifiers& own, const Qualifiers& base) {
    for (const auto& item : base.items)
        if (!equalsIgnoreCase(item.first, "Override") && !own.has(item.first))
            own.items.push_back(item);
}

template <typename Decl>
const Decl* findByName(const std::vector<Decl>& v, const std::string& name) {
    for (const auto& d : v)
        if (equalsIgnoreCase(d.name, name)) return &d;
    return nullptr;
}

}  // namespace

bool Qualifiers::has(const std::string& name) const { return get(name) != nullptr; }

const std::string* Qualifiers::get(const std::string& name) const {
    for (const auto& item : items)
        if (equalsIgnoreCase(item.first, name)) return &item.second;
    return nullptr;
}

const ParamDecl* MethodDecl::findParam(const std::string& name) const {
    return findByName(params, name);
}

struct ClassRepository::Loader : MofTarget {
    explicit Loader(ClassRepository& r) : repo(r) {}

    const ClassDecl* findClass(const std::string& name) const override { return repo.find(name); }

    void addClass(ClassDecl&& cls) override {
        for (auto& p : cls.properties)
            if (const PropertyDecl* base = cls.superclass.empty() ? nullptr
                                               : repo.findProperty(cls.superclass, p.name)) {
                inheritQualifiers(p.qualifiers, base->qualifiers);
                p.key = p.key || base->key;
            }
        for (auto& m : cls.methods)
            if (const MethodDecl* base = cls.superclass.empty() ? nullptr
                                             : repo.findMethod(cls.superclass, m.name))
                inheritQualifiers(m.qualifiers, base->qualifiers);
        std::string key = lower(cls.name);
        addedClasses.push_back(key);
        repo.classes_.emplace(key, std::move(cls));
    }

    const QualifierDecl* findQualifier(const std::string& name) const override {
        return repo.findQualifier(name);
    }

    void addQualifier(QualifierDecl&& q) override {
        std::string key = lower(q.name);
        addedQualifiers.push_back(key);
        repo.qualifiers_.emplace(key, std::move(q));
    }

    bool readInclude(const std::string& path, std::string& text, bool& skip,
                     std::string& msg) override {
        std::string canon = canonical(path);
        skip = repo.loadedFiles_.count(canon) != 0;
        if (skip) return true;
        if (!readWholeFile(path, text)) {
            msg = "cannot open included file '" + path + "'";
            return false;
        }
        markLoaded(canon);
        return true;
    }

    void markLoaded(const std::string& canon) {
        if (repo.loadedFiles_.insert(canon).second) addedFiles.push_back(canon);
    }

    // Runs a load and takes back what it added when it fails (loads only add, so
    // declarations read earlier stay where they are).
    template <typename F>
    bool atomically(F load) {
        if (load()) return true;
        for (const auto& k : addedClasses) repo.classes_.erase(k);
        for (const auto& k : addedQualifiers) repo.qualifiers_.erase(k);
        for (const auto& f : addedFiles) repo.loadedFiles_.erase(f);
        return false;
    }

    // The qualifier file of path's directory first (once), then path itself; a file read
    // before is read again only when `again` is set.
    bool fileWithQualifiers(const std::string& path, bool again, std::string* err) {
        namespace fs = std::filesystem;
        std::string quals = (fs::path(path).parent_path() / kQualifierFile).string();
        std::error_code ec;
        if (canonical(quals) != canonical(path) && fs::is_regular_file(quals, ec) &&
            !repo.loadedFiles_.count(canonical(quals)) && !file(quals, err))
            return false;
        return (!again && repo.loadedFiles_.count(canonical(path))) || file(path, err);
    }

    bool file(const std::string& path, std::string* err) {
        std::string text;
        if (!readWholeFile(path, text)) {
            if (err) *err = path + ": cannot open file";
            return false;
        }
        markLoaded(canonical(path));
        return parseMof(text, path, *this, err);
    }

    ClassRepository& repo;
    std::vector<std::string> addedClasses, addedQualifiers, addedFiles;
};

bool ClassRepository::loadText(const std::string& text, const std::string& fileName,
                               std::string* err) {
    Loader l(*this);
    return l.atomically([&] { return parseMof(text, fileName, l, err); });
}

bool ClassRepository::loadFile(const std::string& path, std::string* err) {
    Loader l(*this);
    return l.atomically([&] { return l.fileWithQualifiers(path, true, err); });
}

bool ClassRepository::loadDirectory(const std::string& dir, std::string* err) {
    namespace fs = std::filesystem;
    std::error_code ec;
    std::vector<std::string> files;
    for (fs::directory_iterator it(dir, ec), end; !ec && it != end; it.increment(ec)) {
        std::string name = it->path().filename().string();
        if (name.size() > 4 && lower(name.substr(name.size() - 4)) == ".mof" &&
            it->is_regular_file(ec))
            files.push_back(it->path().string());
    }
    if (ec) {
        if (err) *err = dir + ": cannot read directory (" + ec.message() + ")";
        return false;
    }
    std::sort(files.begin(), files.end());
    Loader l(*this);
    return l.atomically([&] {
        for (const auto& f : files)
            if (!l.fileWithQualifiers(f, false, err)) return false;
        return true;
    });
}

const ClassDecl* ClassRepository::find(const std::string& cls) const {
    auto it = classes_.find(lower(cls));
    return it == classes_.end() ? nullptr : &it->second;
}

const QualifierDecl* ClassRepository::findQualifier(const std::string& name) const {
    auto it = qualifiers_.find(lower(name));
    return it == qualifiers_.end() ? nullptr : &it->second;
}

std::vector<std::string> ClassRepository::classNames() const {
    std::vector<std::string> names;
    for (const auto& c : classes_) names.push_back(c.second.name);
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<const ClassDecl*> ClassRepository::chain(const std::string& cls) const {
    std::vector<const ClassDecl*> out;
    // Superclasses are declared before their subclasses, so the chain ends; the bound
    // only guards against a corrupted map.
    for (const ClassDecl* c = find(cls); c && out.size() <= classes_.size();
         c = c->superclass.empty() ? nullptr : find(c->superclass))
        out.push_back(c);
    return out;
}

bool ClassRepository::isA(const std::string& cls, const std::string& ancestor) const {
    for (const ClassDecl* c : chain(cls))
        if (equalsIgnoreCase(c->name, ancestor)) return true;
    return false;
}

const PropertyDecl* ClassRepository::findProperty(const std::string& cls,
                                                  const std::string& prop) const {
    for (const ClassDecl* c : chain(cls))
        if (const PropertyDecl* p = findByName(c->properties, prop)) return p;
    return nullptr;
}

const MethodDecl* ClassRepository::findMethod(const std::string& cls,
                                              const std::string& method) const {
    for (const ClassDecl* c : chain(cls))
        if (const MethodDecl* m = findByName(c->methods, method)) return m;
    return nullptr;
}

std::vector<const PropertyDecl*> ClassRepository::properties(const std::string& cls) const {
    // Root class first; an override takes the place of the declaration it replaces.
    std::vector<const PropertyDecl*> out;
    auto ch = chain(cls);
    for (auto c = ch.rbegin(); c != ch.rend(); ++c)
        for (const auto& p : (*c)->properties) {
            auto same = std::find_if(out.begin(), out.end(), [&](const PropertyDecl* q) {
                return equalsIgnoreCase(q->name, p.name);
            });
            if (same != out.end()) *same = &p;
            else out.push_back(&p);
        }
    return out;
}

std::vector<const PropertyDecl*> ClassRepository::keys(const std::string& cls) const {
    std::vector<const PropertyDecl*> out;
    for (const PropertyDecl* p : properties(cls))
        if (p->key) out.push_back(p);
    return out;
}

}  // namespace vcim
