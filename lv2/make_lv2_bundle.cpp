// Build-time tool: writes the Turtle of the LV2 bundle from the effect
// itself -- the ports from the parameter table (names, units, ranges and
// defaults as the panel shows them), the identity from the effect object,
// the presets from the factory bank.
//
//   make_lv2_bundle FACTORY_FOLDER OUT_FOLDER
//   make_lv2_bundle --pipewire FACTORY_FOLDER PRESET_NAME
//
// FACTORY_FOLDER holds GraEQDef.fxb; OUT_FOLDER receives manifest.ttl,
// GraphicEQ.ttl and presets.ttl. --pipewire prints a PipeWire filter-chain
// configuration that plays a virtual sink through GraphicEQ set to the named
// factory preset.
#include <cstdio>
#include <cstring>
#include <string>

#include "AGraEQ.h"
#include "BankFile.h"
#include "Lv2Ids.h"
#include "PortMap.h"
#include "WinStr.h"

namespace {

using namespace lv2port;

const char kPrefixes[] =
    "@prefix atom:  <http://lv2plug.in/ns/ext/atom#> .\n"
    "@prefix doap:  <http://usefulinc.com/ns/doap#> .\n"
    "@prefix foaf:  <http://xmlns.com/foaf/0.1/> .\n"
    "@prefix lv2:   <http://lv2plug.in/ns/lv2core#> .\n"
    "@prefix opts:  <http://lv2plug.in/ns/ext/options#> .\n"
    "@prefix pset:  <http://lv2plug.in/ns/ext/presets#> .\n"
    "@prefix rdfs:  <http://www.w3.org/2000/01/rdf-schema#> .\n"
    "@prefix state: <http://lv2plug.in/ns/ext/state#> .\n"
    "@prefix ui:    <http://lv2plug.in/ns/extensions/ui#> .\n"
    "@prefix units: <http://lv2plug.in/ns/extensions/units#> .\n"
    "@prefix urid:  <http://lv2plug.in/ns/ext/urid#> .\n"
    "@prefix bufsz: <http://lv2plug.in/ns/ext/buf-size#> .\n\n";

std::string Quote(const char* text)
{
    std::string s = "\"";
    for (const char* p = text; *p; ++p) {
        if (*p == '"' || *p == '\\')
            s += '\\';
        s += *p;
    }
    return s + "\"";
}

// Shortest decimal that reads back as the same float.
std::string Number(float v)
{
    char buf[32];
    for (int digits = 6; digits <= 9; ++digits) {
        std::snprintf(buf, sizeof buf, "%.*g", digits, static_cast<double>(v));
        float back = 0;
        if (std::sscanf(buf, "%f", &back) == 1 && back == v)
            break;
    }
    std::string s = buf;
    // Turtle reads a number without '.' or 'e' as an integer; keep decimals.
    if (s.find_first_of(".e") == std::string::npos)
        s += ".0";
    return s;
}

std::string PresetUri(int n)
{
    char buf[16];
    std::snprintf(buf, sizeof buf, "%02d", n);
    return std::string("<" GRAPHICEQ_LV2_PRESET_PREFIX) + buf + ">";
}

bool WriteFile(const std::string& path, const std::string& text)
{
    FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) {
        std::fprintf(stderr, "make_lv2_bundle: cannot write %s\n", path.c_str());
        return false;
    }
    const bool ok = std::fwrite(text.data(), 1, text.size(), f) == text.size();
    return std::fclose(f) == 0 && ok;
}

std::string ControlInput(int i)
{
    char symbol[64], name[64];
    ParamSymbol(i, symbol, sizeof symbol);
    GetParamName(i, name, sizeof name);
    float lo = 0, hi = 0;
    PortRange(i, &lo, &hi);
    const AutomateParamMinMax& row = AutomateParamMinMax_Tbl[i];
    std::string s = "    [\n        a lv2:InputPort , lv2:ControlPort ;\n";
    s += "        lv2:index " + std::to_string(i) + " ;\n";
    s += "        lv2:symbol " + Quote(symbol) + " ;\n";
    s += "        lv2:name " + Quote(name) + " ;\n";
    s += "        lv2:default " + Number(PortDefault(i)) + " ;\n";
    s += "        lv2:minimum " + Number(lo) + " ;\n";
    s += "        lv2:maximum " + Number(hi);
    if (row.format == ParamFormat::kSwitch)
        s += " ;\n        lv2:portProperty lv2:toggled";
    else if (row.label && !std::strcmp(row.label, "dB"))
        s += " ;\n        units:unit units:db";
    return s + "\n    ]";
}

std::string ControlOutput(unsigned index, const char* symbol, const char* name, bool toggle)
{
    std::string s = "    [\n        a lv2:OutputPort , lv2:ControlPort ;\n";
    s += "        lv2:index " + std::to_string(index) + " ;\n";
    s += "        lv2:symbol " + Quote(symbol) + " ;\n";
    s += "        lv2:name " + Quote(name) + " ;\n";
    if (toggle)
        return s + "        lv2:minimum 0 ;\n        lv2:maximum 1 ;\n        lv2:portProperty lv2:toggled\n    ]";
    s += "        lv2:minimum " + Number(kMeterFloorDB) + " ;\n";
    s += "        lv2:maximum " + Number(kMeterTopDB) + " ;\n";
    return s + "        units:unit units:db\n    ]";
}

std::string AudioPort(unsigned index, bool input, const char* symbol, const char* name)
{
    std::string s = "    [\n        a lv2:";
    s += input ? "InputPort" : "OutputPort";
    s += " , lv2:AudioPort ;\n";
    s += "        lv2:index " + std::to_string(index) + " ;\n";
    s += "        lv2:symbol " + Quote(symbol) + " ;\n";
    return s + "        lv2:name " + Quote(name) + "\n    ]";
}

std::string PluginTurtle(const char* effectName, const char* vendor)
{
    std::string s = kPrefixes;
    s += "<" GRAPHICEQ_LV2_URI ">\n";
    s += "    a lv2:Plugin , lv2:MultiEQPlugin , doap:Project ;\n";
    s += "    doap:name " + Quote(effectName) + " ;\n";
    s += "    doap:maintainer [ foaf:name " + Quote(vendor) + " ] ;\n";
    s += "    lv2:minorVersion 0 ;\n    lv2:microVersion 0 ;\n";
    s += "    lv2:optionalFeature lv2:hardRTCapable , urid:map , opts:options ;\n";
    s += "    opts:supportedOption bufsz:maxBlockLength ;\n";
    s += "    lv2:extensionData state:interface ;\n";
    s += "    ui:ui <" GRAPHICEQ_LV2_UI_URI "> ;\n";
    s += "    lv2:port\n";
    for (int i = 0; i < kNumParams; ++i)
        s += ControlInput(i) + " ,\n";
    s += AudioPort(kInL, true, "in_l", "In L") + " ,\n";
    s += AudioPort(kInR, true, "in_r", "In R") + " ,\n";
    s += AudioPort(kOutL, false, "out_l", "Out L") + " ,\n";
    s += AudioPort(kOutR, false, "out_r", "Out R") + " ,\n";
    s += ControlOutput(kMeterInL, "meter_in_l", "Input Level L", false) + " ,\n";
    s += ControlOutput(kMeterInR, "meter_in_r", "Input Level R", false) + " ,\n";
    s += ControlOutput(kMeterOutL, "meter_out_l", "Output Level L", false) + " ,\n";
    s += ControlOutput(kMeterOutR, "meter_out_r", "Output Level R", false) + " ,\n";
    s += ControlOutput(kOver, "over", "Over", true) + " .\n\n";

    s += "<" GRAPHICEQ_LV2_UI_URI ">\n";
    s += "    a ui:X11UI ;\n";
    s += "    lv2:requiredFeature ui:parent , <http://lv2plug.in/ns/ext/instance-access> ;\n";
    s += "    lv2:optionalFeature ui:resize , ui:idleInterface , ui:noUserResize ;\n";
    s += "    lv2:extensionData ui:idleInterface .\n";
    return s;
}

std::string Manifest(int presets)
{
    std::string s = kPrefixes;
    s += "<" GRAPHICEQ_LV2_URI ">\n    a lv2:Plugin ;\n";
    s += "    lv2:binary <" GRAPHICEQ_LV2_DSP_BINARY "> ;\n";
    s += "    rdfs:seeAlso <GraphicEQ.ttl> .\n\n";
    s += "<" GRAPHICEQ_LV2_UI_URI ">\n    a ui:X11UI ;\n";
    s += "    ui:binary <" GRAPHICEQ_LV2_UI_BINARY "> ;\n";
    s += "    rdfs:seeAlso <GraphicEQ.ttl> .\n";
    for (int n = 1; n <= presets; ++n) {
        s += "\n" + PresetUri(n) + "\n    a pset:Preset ;\n";
        s += "    lv2:appliesTo <" GRAPHICEQ_LV2_URI "> ;\n";
        s += "    rdfs:seeAlso <presets.ttl> .\n";
    }
    return s;
}

std::string Presets(const AGraEQProgram* bank)
{
    std::string s = kPrefixes;
    for (int p = 0; p < kNumPrograms; ++p) {
        char name[kProgramNameSize * 3 + 1];
        CheckSJISAndToUFT8(bank[p].szName, name, sizeof name);
        s += PresetUri(p + 1) + "\n    a pset:Preset ;\n";
        s += "    lv2:appliesTo <" GRAPHICEQ_LV2_URI "> ;\n";
        s += "    rdfs:label " + Quote(name) + " ;\n";
        s += "    lv2:port\n";
        for (int i = 0; i < kNumParams; ++i) {
            char symbol[64];
            ParamSymbol(i, symbol, sizeof symbol);
            s += "        [ lv2:symbol " + Quote(symbol) + " ; pset:value " +
                 Number(PortFromNormalized(i, bank[p].fValue[i])) + " ]";
            s += i + 1 < kNumParams ? " ,\n" : " .\n\n";
        }
    }
    return s;
}

std::string PipeWireConfig(const AGraEQProgram& program, const char* name)
{
    std::string s =
        "# A virtual sink that plays everything sent to it through GraphicEQ (LV2),\n"
        "# set to its factory preset \"";
    s += name;
    s += "\", on to the default output.\n"
         "# Written by make_lv2_bundle --pipewire from the factory bank; see the README.\n"
         "context.modules = [\n"
         "    { name = libpipewire-module-filter-chain\n"
         "        args = {\n"
         "            node.description = \"GraphicEQ (";
    s += name;
    s += ")\"\n"
         "            media.name       = \"GraphicEQ\"\n"
         "            filter.graph = {\n"
         "                nodes = [\n"
         "                    {\n"
         "                        type   = lv2\n"
         "                        name   = geq\n"
         "                        plugin = \"" GRAPHICEQ_LV2_URI "\"\n"
         "                        control = {\n";
    for (int i = 0; i < kNumParams; ++i) {
        char symbol[64];
        ParamSymbol(i, symbol, sizeof symbol);
        s += "                            \"" + std::string(symbol) + "\" = " +
             Number(PortFromNormalized(i, program.fValue[i])) + "\n";
    }
    s += "                        }\n"
         "                    }\n"
         "                ]\n"
         "                inputs  = [ \"geq:in_l\" \"geq:in_r\" ]\n"
         "                outputs = [ \"geq:out_l\" \"geq:out_r\" ]\n"
         "            }\n"
         "            audio.channels = 2\n"
         "            audio.position = [ FL FR ]\n"
         "            capture.props = {\n"
         "                node.name   = \"effect_input.graphiceq\"\n"
         "                media.class = Audio/Sink\n"
         "            }\n"
         "            playback.props = {\n"
         "                node.name    = \"effect_output.graphiceq\"\n"
         "                node.passive = true\n"
         "            }\n"
         "        }\n"
         "    }\n"
         "]\n";
    return s;
}

VstIntPtr Host(AEffect*, VstInt32 opcode, VstInt32, VstIntPtr, void*, float)
{
    return opcode == audioMasterVersion ? 2400 : 0;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc == 4 && !std::strcmp(argv[1], "--pipewire")) {
        std::string factory = argv[2];
        if (factory.empty() || factory.back() != '/')
            factory += '/';
        static AGraEQProgram bank[kNumPrograms];
        if (!SetFactoryProgram(factory.c_str(), kGraEQUniqueID, bank)) {
            std::fprintf(stderr, "make_lv2_bundle: no factory bank in %s\n", factory.c_str());
            return 1;
        }
        for (int p = 0; p < kNumPrograms; ++p) {
            char name[kProgramNameSize * 3 + 1];
            CheckSJISAndToUFT8(bank[p].szName, name, sizeof name);
            if (!std::strcmp(name, argv[3])) {
                std::fputs(PipeWireConfig(bank[p], name).c_str(), stdout);
                return 0;
            }
        }
        std::fprintf(stderr, "make_lv2_bundle: no factory preset named %s\n", argv[3]);
        return 1;
    }
    if (argc != 3) {
        std::fprintf(stderr, "usage: make_lv2_bundle FACTORY_FOLDER OUT_FOLDER\n");
        return 2;
    }
    std::string factory = argv[1], out = argv[2];
    if (factory.empty() || factory.back() != '/')
        factory += '/';
    if (out.empty() || out.back() != '/')
        out += '/';

    // The factory bank exactly as the effect loads its own.
    static AGraEQProgram bank[kNumPrograms];
    if (!SetFactoryProgram(factory.c_str(), kGraEQUniqueID, bank)) {
        std::fprintf(stderr, "make_lv2_bundle: no factory bank in %s\n", factory.c_str());
        return 1;
    }
    char effectName[kVstMaxEffectNameLen + 1] = {}, vendor[kVstMaxVendorStrLen + 1] = {};
    {
        AGraEQ effect(&Host);
        effect.getEffectName(effectName);
        effect.getVendorString(vendor);
    }
    const bool ok = WriteFile(out + "manifest.ttl", Manifest(kNumPrograms)) &&
                    WriteFile(out + "GraphicEQ.ttl", PluginTurtle(effectName, vendor)) &&
                    WriteFile(out + "presets.ttl", Presets(bank));
    return ok ? 0 : 1;
}
