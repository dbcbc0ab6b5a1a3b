#include "cim_value.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cfloat>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace vcim {

namespace {

constexpr uint64_t kUsecPerSec = 1000000;
constexpr uint64_t kSecPerDay = 86400;

// Days since 1970-01-01 of a proleptic Gregorian date, and back.
int64_t daysFromCivil(int64_t y, unsigned m, unsigned d) {
    y -= m <= 2;
    const int64_t era = (y >= 0 ? y : y - 399) / 400;
    const unsigned yoe = static_cast<unsigned>(y - era * 400);
    const unsigned doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
    const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + static_cast<int64_t>(doe) - 719468;
}

void civilFromDays(int64_t z, int64_t& y, unsigned& m, unsigned& d) {
    z += 719468;
    const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
    const unsigned doe = static_cast<unsigned>(z - era * 146097);
    const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const unsigned mp = (5 * doy + 2) / 153;
    d = doy - (153 * mp + 2) / 5 + 1;
    m = mp < 10 ? mp + 3 : mp - 9;
    y = static_cast<int64_t>(yoe) + era * 400 + (m <= 2);
}

unsigned daysInMonth(int64_t y, unsigned m) {
    static const unsigned kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    bool leap = (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
    return m == 2 && leap ? 29 : kDays[m - 1];
}

// Digits text[pos, pos+n) as a number; false if any is not a digit.
bool digits(const std::string& text, size_t pos, size_t n, uint64_t& out) {
    out = 0;
    for (size_t i = pos; i < pos + n; ++i) {
        if (!std::isdigit(static_cast<unsigned char>(text[i]))) return false;
        out = out * 10 + static_cast<uint64_t>(text[i] - '0');
    }
    return true;
}

std::string trim(const std::string& s) {
    size_t b = 0, e = s.size();
    while (b < e && std::isspace(static_cast<unsigned char>(s[b]))) ++b;
    while (e > b && std::isspace(static_cast<unsigned char>(s[e - 1]))) --e;
    return s.substr(b, e - b);
}

std::string quote(const std::string& s) {
    std::string out = "\"";
    for (char c : s) {
        if (c == '"' || c == '\\') out += '\\';
        out += c;
    }
    return out + "\"";
}

// Reads a quoted text starting at text[pos] == '"'; \" and \\ are escapes, any other
// backslash stays. Leaves pos after the closing quote.
bool unquote(const std::string& text, size_t& pos, std::string& out) {
    out.clear();
    for (++pos; pos < text.size(); ++pos) {
        char c = text[pos];
        if (c == '"') {
            ++pos;
            return true;
        }
        if (c == '\\' && pos + 1 < text.size() && (text[pos + 1] == '"' || text[pos + 1] == '\\'))
            c = text[++pos];
        out += c;
    }
    return false;
}

struct TypeName {
    CMPIType type;
    const char* name;
};

const TypeName kTypeNames[] = {
    {CMPI_boolean, "boolean"}, {CMPI_char16, "char16"},     {CMPI_real32, "real32"},
    {CMPI_real64, "real64"},   {CMPI_uint8, "uint8"},       {CMPI_uint16, "uint16"},
    {CMPI_uint32, "uint32"},   {CMPI_uint64, "uint64"},     {CMPI_sint8, "sint8"},
    {CMPI_sint16, "sint16"},   {CMPI_sint32, "sint32"},     {CMPI_sint64, "sint64"},
    {CMPI_string, "string"},   {CMPI_chars, "string"},      {CMPI_dateTime, "datetime"},
    {CMPI_ref, "reference"},   {CMPI_instance, "instance"},
};

std::string typeName(CMPIType t) {
    CMPIType elem = static_cast<CMPIType>(t & ~CMPI_ARRAY);
    std::string name = "type " + std::to_string(elem);
    for (const auto& n : kTypeNames)
        if (n.type == elem) name = n.name;
    return (t & CMPI_ARRAY) ? name + "[]" : name;
}

bool isUnsigned(CMPIType t) { return (t & 0xC0) == CMPI_UINT && (t & 0xFF00) == 0; }
bool isSigned(CMPIType t) { return (t & 0xC0) == CMPI_SINT && (t & 0xFF00) == 0; }
unsigned intBits(CMPIType t) { return 8u << ((t >> 4) & 3); }
bool isTextual(CMPIType t) {
    return t == CMPI_string || t == CMPI_chars || t == CMPI_ref || t == CMPI_char16;
}

enum class Digits { Ok, Junk, Overflow };

// Decimal or 0x-hex digits without sign into out.
Digits parseMagnitude(const std::string& s, uint64_t& out) {
    size_t i = 0;
    unsigned base = 10;
    if (s.size() > 2 && s[0] == '0' && (s[1] == 'x' || s[1] == 'X')) {
        base = 16;
        i = 2;
    }
    if (i >= s.size()) return Digits::Junk;
    out = 0;
    bool overflow = false;
    for (; i < s.size(); ++i) {
        int c = std::tolower(static_cast<unsigned char>(s[i]));
        unsigned d;
        if (c >= '0' && c <= '9') d = static_cast<unsigned>(c - '0');
        else if (base == 16 && c >= 'a' && c <= 'f') d = static_cast<unsigned>(c - 'a' + 10);
        else return Digits::Junk;
        overflow = overflow || out > (UINT64_MAX - d) / base;
        out = out * base + d;
    }
    return overflow ? Digits::Overflow : Digits::Ok;
}

// Decodes exactly one UTF-8 character of at most 16 bits.
bool decodeChar16(const std::string& s, uint64_t& cp) {
    auto b = [&](size_t i) { return static_cast<unsigned char>(s[i]); };
    if (s.size() == 1 && b(0) < 0x80) {
        cp = b(0);
        return true;
    }
    if (s.size() == 2 && (b(0) & 0xE0) == 0xC0 && (b(1) & 0xC0) == 0x80) {
        cp = ((b(0) & 0x1Fu) << 6) | (b(1) & 0x3Fu);
        return cp >= 0x80;
    }
    if (s.size() == 3 && (b(0) & 0xF0) == 0xE0 && (b(1) & 0xC0) == 0x80 && (b(2) & 0xC0) == 0x80) {
        cp = ((b(0) & 0x0Fu) << 12) | ((b(1) & 0x3Fu) << 6) | (b(2) & 0x3Fu);
        return cp >= 0x800;
    }
    return false;
}

std::string encodeUtf8(uint64_t cp) {
    std::string out;
    if (cp < 0x80) {
        out += static_cast<char>(cp);
    } else if (cp < 0x800) {
        out += static_cast<char>(0xC0 | (cp >> 6));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    } else {
        out += static_cast<char>(0xE0 | ((cp >> 12) & 0x0F));
        out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (cp & 0x3F));
    }
    return out;
}

// The shortest %g text that reads back as the same value.
std::string formatReal(double v, bool single) {
    char buf[40];
    for (int prec = 6; prec <= 17; ++prec) {
        std::snprintf(buf, sizeof buf, "%.*g", prec, v);
        double back = std::strtod(buf, nullptr);
        if (single ? static_cast<float>(back) == static_cast<float>(v) : back == v) break;
    }
    return buf;
}

bool fail(std::string* err, const std::string& msg) {
    if (err) *err = msg;
    return false;
}

bool parseScalar(CMPIType t, const std::string& raw, Value& out, std::string* err) {
    const std::string text = (t == CMPI_string || t == CMPI_chars || t == CMPI_char16) ? raw : trim(raw);
    const std::string bad = "invalid " + typeName(t) + " value '" + text + "'";
    if (t == CMPI_string || t == CMPI_chars) {
        out = Value::string(text);
        out.type = t;
        return true;
    }
    if (t == CMPI_boolean) {
        if (equalsIgnoreCase(text, "true") || text == "1") out = Value::boolean(true);
        else if (equalsIgnoreCase(text, "false") || text == "0") out = Value::boolean(false);
        else return fail(err, bad);
        return true;
    }
    if (isUnsigned(t) || isSigned(t)) {
        bool neg = !text.empty() && text[0] == '-';
        bool sign = neg || (!text.empty() && text[0] == '+');
        uint64_t mag = 0;
        Digits d = parseMagnitude(text.substr(sign ? 1 : 0), mag);
        if (d == Digits::Junk) return fail(err, bad);
        const std::string range = "value '" + text + "' out of range for " + typeName(t);
        unsigned bits = intBits(t);
        if (isUnsigned(t)) {
            uint64_t max = bits == 64 ? UINT64_MAX : (uint64_t{1} << bits) - 1;
            if (d == Digits::Overflow || (neg && mag != 0) || mag > max) return fail(err, range);
            out = Value::uint(t, mag);
        } else {
            uint64_t max = (uint64_t{1} << (bits - 1)) - 1;
            if (d == Digits::Overflow || mag > max + (neg ? 1 : 0)) return fail(err, range);
            out = Value::sint(t, neg ? static_cast<int64_t>(0 - mag) : static_cast<int64_t>(mag));
        }
        return true;
    }
    if (t == CMPI_real32 || t == CMPI_real64) {
        char* end = nullptr;
        errno = 0;
        double v = text.empty() ? 0 : std::strtod(text.c_str(), &end);
        if (text.empty() || *end != '\0') return fail(err, bad);
        // Underflow to a tiny or zero value is fine; overflow is not.
        if ((errno == ERANGE && std::fabs(v) > 1) || (t == CMPI_real32 && std::fabs(v) > FLT_MAX))
            return fail(err, "value '" + text + "' out of range for " + typeName(t));
        if (!std::isfinite(v)) return fail(err, bad);
        out = Value::real(t, v);
        return true;
    }
    if (t == CMPI_char16) {
        uint64_t cp = 0;
        if (!decodeChar16(text, cp)) return fail(err, bad + " (one character expected)");
        out = Value::uint(CMPI_char16, cp);
        return true;
    }
    if (t == CMPI_dateTime) {
        DateTime dt;
        if (!DateTime::parse(text, dt)) return fail(err, bad);
        out = Value::dateTime(dt);
        return true;
    }
    if (t == CMPI_ref) {
        ObjectPath p;
        std::string why;
        if (!ObjectPath::parse(text, p, &why)) return fail(err, bad + ": " + why);
        out = Value::reference(p);
        return true;
    }
    return fail(err, "values of type " + typeName(t) + " cannot be given as text");
}

// Splits array text into elements; quoted ones are unescaped and marked.
bool splitArray(const std::string& raw, std::vector<std::pair<std::string, bool>>& out,
                std::string* err) {
    std::string text = trim(raw);
    if (!text.empty() && text.front() == '{') {
        if (text.back() != '}') return fail(err, "missing '}' at the end of the array");
        text = trim(text.substr(1, text.size() - 2));
    }
    if (text.empty()) return true;
    size_t pos = 0;
    for (;;) {
        while (pos < text.size() && std::isspace(static_cast<unsigned char>(text[pos]))) ++pos;
        std::string elem;
        bool quoted = pos < text.size() && text[pos] == '"';
        if (quoted) {
            if (!unquote(text, pos, elem)) return fail(err, "unterminated quoted array element");
            while (pos < text.size() && std::isspace(static_cast<unsigned char>(text[pos]))) ++pos;
            if (pos < text.size() && text[pos] != ',')
                return fail(err, "',' expected after quoted array element \"" + elem + "\"");
        } else {
            size_t comma = text.find(',', pos);
            elem = trim(text.substr(pos, comma == std::string::npos ? std::string::npos : comma - pos));
            pos = comma == std::string::npos ? text.size() : comma;
        }
        out.emplace_back(elem, quoted);
        if (pos >= text.size()) return true;
        ++pos;  // the comma
    }
}

}  // namespace

// ---- DateTime ----

std::string DateTime::toString() const {
    char buf[32];
    uint64_t secs = usec / kUsecPerSec;
    unsigned micro = static_cast<unsigned>(usec % kUsecPerSec);
    unsigned sec = static_cast<unsigned>(secs % 60), min = static_cast<unsigned>(secs / 60 % 60),
             hour = static_cast<unsigned>(secs / 3600 % 24);
    uint64_t days = secs / kSecPerDay;
    if (interval) {
        if (days > 99999999) return "99999999235959.999999:000";
        std::snprintf(buf, sizeof buf, "%08llu%02u%02u%02u.%06u:000",
                      static_cast<unsigned long long>(days), hour, min, sec, micro);
        return buf;
    }
    int64_t y;
    unsigned m, d;
    civilFromDays(static_cast<int64_t>(days), y, m, d);
    if (y > 9999) return "99991231235959.999999+000";
    std::snprintf(buf, sizeof buf, "%04lld%02u%02u%02u%02u%02u.%06u+000",
                  static_cast<long long>(y), m, d, hour, min, sec, micro);
    return buf;
}

bool DateTime::parse(const std::string& text, DateTime& out) {
    if (text.size() != 25 || text[14] != '.') return false;
    uint64_t micro, tail;
    if (!digits(text, 15, 6, micro) || !digits(text, 22, 3, tail)) return false;
    char sep = text[21];
    uint64_t f[6];  // interval: days hh mm ss; point: yyyy mm dd hh mm ss
    if (sep == ':') {
        if (tail != 0 || !digits(text, 0, 8, f[0]) || !digits(text, 8, 2, f[1]) ||
            !digits(text, 10, 2, f[2]) || !digits(text, 12, 2, f[3]))
            return false;
        if (f[1] > 23 || f[2] > 59 || f[3] > 59) return false;
        out.interval = true;
        out.usec = (((f[0] * 24 + f[1]) * 60 + f[2]) * 60 + f[3]) * kUsecPerSec + micro;
        return true;
    }
    if (sep != '+' && sep != '-') return false;
    static const size_t kPos[6] = {0, 4, 6, 8, 10, 12}, kLen[6] = {4, 2, 2, 2, 2, 2};
    for (int i = 0; i < 6; ++i)
        if (!digits(text, kPos[i], kLen[i], f[i])) return false;
    if (f[1] < 1 || f[1] > 12 || f[2] < 1 || f[2] > daysInMonth(static_cast<int64_t>(f[0]), static_cast<unsigned>(f[1])) ||
        f[3] > 23 || f[4] > 59 || f[5] > 59)
        return false;
    // The text is local time at the given offset (minutes east of UTC).
    int64_t secs = daysFromCivil(static_cast<int64_t>(f[0]), static_cast<unsigned>(f[1]),
                                 static_cast<unsigned>(f[2])) * static_cast<int64_t>(kSecPerDay) +
                   static_cast<int64_t>(f[3] * 3600 + f[4] * 60 + f[5]);
    secs -= (sep == '+' ? 1 : -1) * static_cast<int64_t>(tail) * 60;
    if (secs < 0) return false;
    out.interval = false;
    out.usec = static_cast<uint64_t>(secs) * kUsecPerSec + micro;
    return true;
}

// ---- Value ----

Value Value::nullOf(CMPIType t) {
    Value v;
    v.type = t;
    return v;
}

Value Value::boolean(bool b) { return uint(CMPI_boolean, b ? 1 : 0); }

Value Value::uint(CMPIType t, uint64_t x) {
    Value v;
    v.type = t;
    v.null = false;
    v.n.u = x;
    return v;
}

Value Value::sint(CMPIType t, int64_t x) {
    Value v;
    v.type = t;
    v.null = false;
    v.n.i = x;
    return v;
}

Value Value::real(CMPIType t, double x) {
    Value v;
    v.type = t;
    v.null = false;
    v.n.r = x;
    return v;
}

Value Value::string(const std::string& s) {
    Value v;
    v.type = CMPI_string;
    v.null = false;
    v.s = s;
    return v;
}

Value Value::dateTime(const DateTime& d) {
    Value v;
    v.type = CMPI_dateTime;
    v.null = false;
    v.dt = d;
    return v;
}

Value Value::reference(const ObjectPath& p) {
    Value v;
    v.type = CMPI_ref;
    v.null = false;
    v.ref = std::make_shared<ObjectPath>(p);
    return v;
}

Value Value::array(CMPIType elemType, std::vector<Value> elems) {
    Value v;
    v.type = static_cast<CMPIType>(elemType | CMPI_ARRAY);
    v.null = false;
    if (!isOctetType(elemType)) {
        v.elems = std::move(elems);
        return v;
    }
    v.octets_ = std::make_shared<Octets>();
    v.octets_->bytes.resize(elems.size());
    for (size_t i = 0; i < elems.size(); ++i) v.setAt(i, std::move(elems[i]));
    return v;
}

Value Value::octetArray(CMPIType elemType, std::vector<uint8_t> bytes) {
    Value v;
    v.type = static_cast<CMPIType>(elemType | CMPI_ARRAY);
    v.null = false;
    if (isOctetType(elemType)) {
        v.octets_ = std::make_shared<Octets>();
        v.octets_->bytes = std::move(bytes);
        return v;
    }
    for (uint8_t b : bytes) v.elems.push_back(Value::uint(elemType, b));
    return v;
}

Value Value::nullArray(CMPIType elemType, size_t n) {
    Value v;
    v.type = static_cast<CMPIType>(elemType | CMPI_ARRAY);
    v.null = false;
    if (isOctetType(elemType)) {
        v.octets_ = std::make_shared<Octets>();
        v.octets_->bytes.assign(n, 0);
        v.octets_->nulls.assign(n, true);
    } else {
        v.elems.assign(n, Value::nullOf(elemType));
    }
    return v;
}

const std::vector<uint8_t>& Value::noBytes() {
    static const std::vector<uint8_t> kNone;
    return kNone;
}

Value::Octets& Value::ownOctets() {
    if (!octets_)
        octets_ = std::make_shared<Octets>();
    else if (octets_.use_count() > 1)
        octets_ = std::make_shared<Octets>(*octets_);
    return *octets_;
}

Value Value::at(size_t i) const {
    if (!isOctetArray()) return elems[i];
    const CMPIType elemType = static_cast<CMPIType>(type & ~CMPI_ARRAY);
    if (nullAt(i)) return nullOf(elemType);
    const uint8_t b = bytes()[i];
    return elemType == CMPI_sint8 ? sint(CMPI_sint8, static_cast<int8_t>(b)) : uint(CMPI_uint8, b);
}

void Value::setAt(size_t i, Value v) {
    if (!isOctetArray()) {
        elems[i] = std::move(v);
        return;
    }
    if (!v.null) {
        setOctet(i, static_cast<uint8_t>(v.n.u));  // sint8: the low byte of the two's complement
        return;
    }
    Octets& o = ownOctets();
    if (o.nulls.empty()) o.nulls.assign(o.bytes.size(), false);
    o.nulls[i] = true;
    o.bytes[i] = 0;
}

bool Value::parse(CMPIType t, const std::string& text, Value& out, std::string* err) {
    if (!(t & CMPI_ARRAY)) return parseScalar(t, text, out, err);
    CMPIType elemType = static_cast<CMPIType>(t & ~CMPI_ARRAY);
    std::vector<std::pair<std::string, bool>> parts;
    if (!splitArray(text, parts, err)) return false;
    std::vector<Value> elems;
    for (const auto& part : parts) {
        Value e;
        if (!part.second && equalsIgnoreCase(part.first, "NULL")) e = nullOf(elemType);
        else if (!parseScalar(elemType, part.first, e, err)) return false;
        elems.push_back(std::move(e));
    }
    out = array(elemType, std::move(elems));
    return true;
}

std::string Value::toCimString() const {
    if (null) return "NULL";
    if (isArray()) {
        std::string out;
        bool textual = isTextual(static_cast<CMPIType>(type & ~CMPI_ARRAY));
        for (size_t i = 0; i < count(); ++i) {
            std::string e = at(i).toCimString();
            out += (i ? "," : "") + (textual && !nullAt(i) ? quote(e) : e);
        }
        return out;
    }
    if (type == CMPI_boolean) return n.u ? "TRUE" : "FALSE";
    if (type == CMPI_char16) return encodeUtf8(n.u & 0xFFFF);
    if (isUnsigned(type)) return std::to_string(n.u);
    if (isSigned(type)) return std::to_string(n.i);
    if (type == CMPI_real32 || type == CMPI_real64) return formatReal(n.r, type == CMPI_real32);
    if (type == CMPI_dateTime) return dt.toString();
    if (type == CMPI_ref) return ref ? ref->toString() : "NULL";
    if (type == CMPI_instance) {
        if (!inst) return "NULL";
        std::string out = "instance of " + inst->path.className + " {";
        for (const auto& p : inst->props) out += " " + p.name + "=" + p.value.toCimString() + ";";
        return out + " }";
    }
    return s;
}

// ---- ObjectPath ----

const Value* ObjectPath::key(const std::string& name) const {
    for (const auto& k : keys)
        if (equalsIgnoreCase(k.name, name)) return &k.value;
    return nullptr;
}

void ObjectPath::setKey(const std::string& name, const Value& v) {
    for (auto& k : keys)
        if (equalsIgnoreCase(k.name, name)) {
            k.value = v;
            return;
        }
    keys.push_back({name, v});
}

std::string ObjectPath::toString() const {
    std::string out;
    if (!host.empty()) out += "//" + host + "/";
    if (!nameSpace.empty()) out += nameSpace + ":";
    out += className;
    for (size_t i = 0; i < keys.size(); ++i) {
        const Value& v = keys[i].value;
        bool bare = !v.null && !v.isArray() &&
                    (isUnsigned(v.type) || isSigned(v.type) || v.type == CMPI_boolean ||
                     v.type == CMPI_real32 || v.type == CMPI_real64);
        out += (i ? "," : ".") + keys[i].name + "=" + (bare ? v.toCimString() : quote(v.toCimString()));
    }
    return out;
}

bool ObjectPath::parse(const std::string& raw, ObjectPath& out, std::string* err) {
    const std::string text = trim(raw);
    ObjectPath p;
    size_t pos = 0;
    auto isName = [](char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_'; };
    auto skipSpace = [&] {
        while (pos < text.size() && std::isspace(static_cast<unsigned char>(text[pos]))) ++pos;
    };
    auto name = [&](std::string& n) {
        size_t start = pos;
        while (pos < text.size() && isName(text[pos])) ++pos;
        n = text.substr(start, pos - start);
        return !n.empty() && !std::isdigit(static_cast<unsigned char>(n[0]));
    };
    if (text.empty()) return fail(err, "empty object path");
    if (text.compare(0, 2, "//") == 0) {
        size_t slash = text.find('/', 2);
        if (slash == std::string::npos) return fail(err, "missing '/' after the host in '" + text + "'");
        if (slash == 2) return fail(err, "empty host in '" + text + "'");
        p.host = text.substr(2, slash - 2);
        pos = slash + 1;
    }
    size_t stop = text.find_first_of(":.=\"", pos);
    if (stop != std::string::npos && text[stop] == ':') {
        p.nameSpace = text.substr(pos, stop - pos);
        pos = stop + 1;
    }
    if (!name(p.className)) return fail(err, "invalid class name in '" + text + "'");
    if (pos < text.size() && text[pos] != '.')
        return fail(err, "unexpected '" + std::string(1, text[pos]) + "' after the class name");
    while (pos < text.size()) {
        ++pos;  // '.' or ','
        skipSpace();
        std::string key, value;
        if (!name(key)) return fail(err, "invalid key name in '" + text + "'");
        skipSpace();
        if (pos >= text.size() || text[pos] != '=') return fail(err, "missing '=' after key '" + key + "'");
        ++pos;
        skipSpace();
        if (pos < text.size() && text[pos] == '"') {
            if (!unquote(text, pos, value)) return fail(err, "unterminated value of key '" + key + "'");
            skipSpace();
            if (pos < text.size() && text[pos] != ',')
                return fail(err, "',' expected after the value of key '" + key + "'");
        } else {
            size_t comma = std::min(text.find(',', pos), text.size());
            value = trim(text.substr(pos, comma - pos));
            pos = comma;
            if (value.empty()) return fail(err, "missing value of key '" + key + "'");
        }
        if (p.key(key)) return fail(err, "duplicate key '" + key + "'");
        p.keys.push_back({key, Value::string(value)});
    }
    out = std::move(p);
    return true;
}

// ---- Instance ----

const Value* Instance::get(const std::string& name) const {
    for (const auto& p : props)
        if (equalsIgnoreCase(p.name, name)) return &p.value;
    return nullptr;
}

void Instance::set(const std::string& name, const Value& v) {
    for (auto& p : props)
        if (equalsIgnoreCase(p.name, name)) {
            p.value = v;
            return;
        }
    props.push_back({name, v});
}

// ---- Status ----

std::string Status::codeName() const { return codeName(rc); }

std::string Status::codeName(CMPIrc rc) {
    static const struct {
        CMPIrc rc;
        const char* name;
    } kNames[] = {
        {CMPI_RC_OK, "CMPI_RC_OK"},
        {CMPI_RC_ERR_FAILED, "CMPI_RC_ERR_FAILED"},
        {CMPI_RC_ERR_ACCESS_DENIED, "CMPI_RC_ERR_ACCESS_DENIED"},
        {CMPI_RC_ERR_INVALID_NAMESPACE, "CMPI_RC_ERR_INVALID_NAMESPACE"},
        {CMPI_RC_ERR_INVALID_PARAMETER, "CMPI_RC_ERR_INVALID_PARAMETER"},
        {CMPI_RC_ERR_INVALID_CLASS, "CMPI_RC_ERR_INVALID_CLASS"},
        {CMPI_RC_ERR_NOT_FOUND, "CMPI_RC_ERR_NOT_FOUND"},
        {CMPI_RC_ERR_NOT_SUPPORTED, "CMPI_RC_ERR_NOT_SUPPORTED"},
        {CMPI_RC_ERR_CLASS_HAS_CHILDREN, "CMPI_RC_ERR_CLASS_HAS_CHILDREN"},
        {CMPI_RC_ERR_CLASS_HAS_INSTANCES, "CMPI_RC_ERR_CLASS_HAS_INSTANCES"},
        {CMPI_RC_ERR_INVALID_SUPERCLASS, "CMPI_RC_ERR_INVALID_SUPERCLASS"},
        {CMPI_RC_ERR_ALREADY_EXISTS, "CMPI_RC_ERR_ALREADY_EXISTS"},
        {CMPI_RC_ERR_NO_SUCH_PROPERTY, "CMPI_RC_ERR_NO_SUCH_PROPERTY"},
        {CMPI_RC_ERR_TYPE_MISMATCH, "CMPI_RC_ERR_TYPE_MISMATCH"},
        {CMPI_RC_ERR_QUERY_LANGUAGE_NOT_SUPPORTED, "CMPI_RC_ERR_QUERY_LANGUAGE_NOT_SUPPORTED"},
        {CMPI_RC_ERR_INVALID_QUERY, "CMPI_RC_ERR_INVALID_QUERY"},
        {CMPI_RC_ERR_METHOD_NOT_AVAILABLE, "CMPI_RC_ERR_METHOD_NOT_AVAILABLE"},
        {CMPI_RC_ERR_METHOD_NOT_FOUND, "CMPI_RC_ERR_METHOD_NOT_FOUND"},
        {CMPI_RC_DO_NOT_UNLOAD, "CMPI_RC_DO_NOT_UNLOAD"},
        {CMPI_RC_NEVER_UNLOAD, "CMPI_RC_NEVER_UNLOAD"},
        {CMPI_RC_ERR_INVALID_HANDLE, "CMPI_RC_ERR_INVALID_HANDLE"},
        {CMPI_RC_ERR_INVALID_DATA_TYPE, "CMPI_RC_ERR_INVALID_DATA_TYPE"},
        {CMPI_RC_ERROR_SYSTEM, "CMPI_RC_ERROR_SYSTEM"},
        {CMPI_RC_ERROR, "CMPI_RC_ERROR"},
    };
    for (const auto& n : kNames)
        if (n.rc == rc) return n.name;
    return "CMPI_RC_" + std::to_string(static_cast<int>(rc));
}

bool equalsIgnoreCase(const std::string& a, const std::string& b) {
    if (a.size() != b.size()) return false;
    // ASCII folding (CIM names are ASCII); no locale call per character.
    auto fold = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
    for (size_t i = 0; i < a.size(); ++i)
        if (a[i] != b[i] && fold(a[i]) != fold(b[i])) return false;
    return true;
}

}  // namespace vcim
