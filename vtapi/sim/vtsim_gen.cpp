// vtsim-gen: writes a large host description for benchmarks and load tests.
//
// Nodes are left as empty objects wherever the simulator's defaults give
// unique names, WWNs and MAC addresses, so even a host with thousands of
// LUNs stays a small file.
#include <nlohmann/json.hpp>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <string>

namespace {

using json = nlohmann::json;

struct Options {
    unsigned adapters = 8, ports = 2, fc = 1, fcoe = 0, nic = 0, iscsi = 0;
    unsigned targets = 4, luns = 8, vfs = 0;
    std::string kind = "fc", chip, out;
    bool pretty = false;
};

void usage(FILE* f) {
    std::fprintf(f,
                 "usage: vtsim-gen [options]\n"
                 "  --adapters N   adapters (default 8)\n"
                 "  --ports N      physical ports per adapter (default 2)\n"
                 "  --kind K       fc, cna, nic, iscsi or mix (default fc; sets the\n"
                 "                 functions per port unless given below)\n"
                 "  --chip NAME    chip family name for every adapter\n"
                 "  --fc N --fcoe N --nic N --iscsi N   functions of each type per port\n"
                 "  --targets N    targets per FC/FCoE function (default 4)\n"
                 "  --luns N       LUNs per target (default 8)\n"
                 "  --vfs N        SR-IOV virtual functions per NIC function (default 0)\n"
                 "  --pretty       indented output\n"
                 "  -o FILE        write to FILE instead of standard output\n");
}

bool parse(int argc, char** argv, Options& o) {
    struct Num {
        const char* flag;
        unsigned* value;
        unsigned max;
    };
    bool typesGiven = false;
    const Num nums[] = {{"--adapters", &o.adapters, 4096}, {"--ports", &o.ports, 255},
                        {"--fc", &o.fc, 64},             {"--fcoe", &o.fcoe, 64},
                        {"--nic", &o.nic, 64},           {"--iscsi", &o.iscsi, 64},
                        {"--targets", &o.targets, 4096}, {"--luns", &o.luns, 4096},
                        {"--vfs", &o.vfs, 256}};
    for (int i = 1; i < argc; ++i) {
        std::string a = argv[i];
        if (a == "-h" || a == "--help") {
            usage(stdout);
            std::exit(0);
        }
        if (a == "--pretty") {
            o.pretty = true;
            continue;
        }
        if (i + 1 >= argc) {
            std::fprintf(stderr, "vtsim-gen: %s needs a value\n", a.c_str());
            return false;
        }
        std::string v = argv[++i];
        if (a == "-o") { o.out = v; continue; }
        if (a == "--kind") { o.kind = v; continue; }
        if (a == "--chip") { o.chip = v; continue; }
        bool found = false;
        for (const auto& n : nums) {
            if (a != n.flag) continue;
            char* end = nullptr;
            unsigned long x = std::strtoul(v.c_str(), &end, 10);
            if (v.empty() || *end || x > n.max) {
                std::fprintf(stderr, "vtsim-gen: %s: expected a number 0..%u\n", n.flag, n.max);
                return false;
            }
            *n.value = static_cast<unsigned>(x);
            if (a == "--fc" || a == "--fcoe" || a == "--nic" || a == "--iscsi") typesGiven = true;
            found = true;
        }
        if (!found) {
            std::fprintf(stderr, "vtsim-gen: unknown option %s\n", a.c_str());
            return false;
        }
    }
    if (o.kind != "fc" && o.kind != "cna" && o.kind != "nic" && o.kind != "iscsi" && o.kind != "mix") {
        std::fprintf(stderr, "vtsim-gen: --kind must be fc, cna, nic, iscsi or mix\n");
        return false;
    }
    if (!typesGiven && o.kind != "fc" && o.kind != "mix") {
        o.fc = 0;
        o.nic = (o.kind == "nic" || o.kind == "cna") ? 1 : 0;
        o.fcoe = o.kind == "cna" ? 1 : 0;
        o.iscsi = (o.kind == "iscsi" || o.kind == "cna") ? 1 : 0;
    }
    return true;
}

json adapter(const Options& o, unsigned ai) {
    static const char* const kMix[] = {"fc", "cna", "fc", "nic", "iscsi"};
    std::string kind = o.kind == "mix" ? kMix[ai % 5] : o.kind;
    unsigned fc = o.fc, fcoe = o.fcoe, nic = o.nic, iscsi = o.iscsi;
    if (o.kind == "mix") {
        fc = kind == "fc";
        nic = kind == "cna" || kind == "nic";
        fcoe = kind == "cna";
        iscsi = kind == "cna" || kind == "iscsi";
    }
    json a = {{"name", "GEN" + std::to_string(100000 + ai)}, {"kind", kind}};
    if (!o.chip.empty()) a["chip"] = o.chip;
    if (kind == "cna") a["partitioned"] = true;
    json lun = json::object();
    json target = {{"luns", json::array()}};
    for (unsigned l = 0; l < o.luns; ++l) target["luns"].push_back(lun);
    json targets = json::array();
    for (unsigned t = 0; t < o.targets; ++t) targets.push_back(target);

    json ports = json::array();
    for (unsigned p = 0; p < o.ports; ++p) {
        json fns = json::array();
        for (unsigned i = 0; i < nic; ++i) {
            json f = {{"type", "nic"}};
            if (o.vfs) f["nic"] = {{"sriov", {{"supported", true}, {"max_vfs", o.vfs}, {"num_vfs", o.vfs}}}};
            fns.push_back(f);
        }
        for (unsigned i = 0; i < fc; ++i) fns.push_back({{"type", "fc"}, {"targets", targets}});
        for (unsigned i = 0; i < fcoe; ++i) fns.push_back({{"type", "fcoe"}, {"targets", targets}});
        for (unsigned i = 0; i < iscsi; ++i) fns.push_back({{"type", "iscsi"}});
        ports.push_back({{"functions", fns}});
    }
    a["ports"] = ports;
    return a;
}

}  // namespace

int main(int argc, char** argv) {
    Options o;
    if (!parse(argc, argv, o)) {
        usage(stderr);
        return 2;
    }
    json host = {{"adapters", json::array()}};
    for (unsigned ai = 0; ai < o.adapters; ++ai) host["adapters"].push_back(adapter(o, ai));
    std::string text = host.dump(o.pretty ? 1 : -1) + "\n";
    if (o.out.empty()) {
        std::cout << text;
        return std::cout.good() ? 0 : 1;
    }
    std::ofstream out(o.out, std::ios::trunc);
    out << text;
    if (!out.good()) {
        std::fprintf(stderr, "vtsim-gen: cannot write %s\n", o.out.c_str());
        return 1;
    }
    return 0;
}
