#pragma once
// A small lilv host for tests: loads the GraphicEQ.lv2 bundle as LV2 hosts
// do (its plug-in classes, then the bundle), gives instances a URID map, and
// holds an instance with every port connected to buffers of its own.
#include <lilv/lilv.h>
#include <lv2/atom/atom.h>
#include <lv2/state/state.h>
#include <lv2/urid/urid.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#ifndef GRAPHICEQ_LV2_BUNDLE_PATH
#error "GRAPHICEQ_LV2_BUNDLE_PATH must name the built bundle"
#endif
#define GRAPHICEQ_URI "urn:graphiceq:lv2:GraphicEQ"

class UridMap {
public:
    UridMap()
    {
        map.handle = this;
        map.map = &Map;
        unmap.handle = this;
        unmap.unmap = &Unmap;
    }
    LV2_URID Id(const char* uri) { return Map(this, uri); }
    LV2_URID_Map map;
    LV2_URID_Unmap unmap;

private:
    static LV2_URID Map(LV2_URID_Map_Handle h, const char* uri)
    {
        UridMap* self = static_cast<UridMap*>(h);
        std::lock_guard<std::mutex> hold(self->m_lock);
        auto it = self->m_ids.find(uri);
        if (it != self->m_ids.end())
            return it->second;
        self->m_uris.push_back(uri);
        return self->m_ids[uri] = static_cast<LV2_URID>(self->m_uris.size());
    }
    static const char* Unmap(LV2_URID_Unmap_Handle h, LV2_URID id)
    {
        UridMap* self = static_cast<UridMap*>(h);
        std::lock_guard<std::mutex> hold(self->m_lock);
        return id >= 1 && id <= self->m_uris.size() ? self->m_uris[id - 1].c_str() : nullptr;
    }
    std::mutex m_lock;
    std::map<std::string, LV2_URID> m_ids;
    std::vector<std::string> m_uris;
};

// The world with the bundle (GRAPHICEQ_LV2_BUNDLE overrides the built one,
// e.g. the installed ~/.lv2/GraphicEQ.lv2).
struct LilvHost {
    LilvWorld* world = lilv_world_new();
    UridMap urids;
    const LilvPlugin* plugin = nullptr;
    LV2_Feature mapFeature{LV2_URID__map, &urids.map};
    LV2_Feature unmapFeature{LV2_URID__unmap, &urids.unmap};
    const LV2_Feature* features[3] = {&mapFeature, &unmapFeature, nullptr};

    LilvHost()
    {
        lilv_world_load_plugin_classes(world);
        std::string path = std::getenv("GRAPHICEQ_LV2_BUNDLE") ? std::getenv("GRAPHICEQ_LV2_BUNDLE")
                                                                : GRAPHICEQ_LV2_BUNDLE_PATH;
        if (path.empty() || path.back() != '/')
            path += '/';
        LilvNode* bundle = lilv_new_file_uri(world, nullptr, path.c_str());
        lilv_world_load_bundle(world, bundle);
        lilv_node_free(bundle);
        LilvNode* uri = lilv_new_uri(world, GRAPHICEQ_URI);
        plugin = lilv_plugins_get_by_uri(lilv_world_get_all_plugins(world), uri);
        lilv_node_free(uri);
    }
    ~LilvHost() { lilv_world_free(world); }
    LilvHost(const LilvHost&) = delete;
    LilvHost& operator=(const LilvHost&) = delete;

    uint32_t Port(const char* symbol) const
    {
        LilvNode* s = lilv_new_string(world, symbol);
        const LilvPort* port = lilv_plugin_get_port_by_symbol(plugin, s);
        lilv_node_free(s);
        return port ? lilv_port_get_index(plugin, port) : UINT32_MAX;
    }
};

// One running instance: every control port on a float of its own (at its
// default), audio on vectors sized for the largest block.
struct LilvEffect {
    LilvHost& host;
    LilvInstance* instance = nullptr;
    std::vector<float> controls;
    std::vector<std::vector<float>> audio;  // in L, in R, out L, out R
    static constexpr uint32_t kMaxFrames = 20000;

    LilvEffect(LilvHost& h, double rate) : host(h)
    {
        const uint32_t n = lilv_plugin_get_num_ports(host.plugin);
        controls.assign(n, 0.0f);
        std::vector<float> defaults(n, 0.0f);
        lilv_plugin_get_port_ranges_float(host.plugin, nullptr, nullptr, defaults.data());
        for (uint32_t i = 0; i < n; ++i)
            controls[i] = std::isnan(defaults[i]) ? 0.0f : defaults[i];
        audio.assign(4, std::vector<float>(kMaxFrames, 0.0f));
        instance = lilv_plugin_instantiate(host.plugin, rate, host.features);
        if (!instance)
            return;
        const char* audioSymbols[4] = {"in_l", "in_r", "out_l", "out_r"};
        for (uint32_t i = 0; i < n; ++i)
            lilv_instance_connect_port(instance, i, &controls[i]);
        for (int k = 0; k < 4; ++k)
            lilv_instance_connect_port(instance, host.Port(audioSymbols[k]), audio[k].data());
        lilv_instance_activate(instance);
    }
    ~LilvEffect()
    {
        if (instance) {
            lilv_instance_deactivate(instance);
            lilv_instance_free(instance);
        }
    }
    LilvEffect(const LilvEffect&) = delete;
    LilvEffect& operator=(const LilvEffect&) = delete;

    float& Control(const char* symbol) { return controls.at(host.Port(symbol)); }
    void Run(uint32_t frames) { lilv_instance_run(instance, frames); }

    const LV2_State_Interface* State() const
    {
        return static_cast<const LV2_State_Interface*>(
            lilv_instance_get_extension_data(instance, LV2_STATE__interface));
    }
    // The bank the plug-in saves (empty when it saves none).
    std::vector<unsigned char> SavedBank()
    {
        struct Sink {
            std::vector<unsigned char> bytes;
            static LV2_State_Status Store(LV2_State_Handle h, uint32_t, const void* value, size_t size,
                                          uint32_t, uint32_t)
            {
                auto* s = static_cast<Sink*>(h);
                s->bytes.assign(static_cast<const unsigned char*>(value),
                                static_cast<const unsigned char*>(value) + size);
                return LV2_STATE_SUCCESS;
            }
        } sink;
        State()->save(lilv_instance_get_handle(instance), &Sink::Store, &sink, LV2_STATE_IS_POD, nullptr);
        return sink.bytes;
    }
    // Hands the plug-in a bank as if a host restored it.
    LV2_State_Status RestoreBank(const std::vector<unsigned char>& bank)
    {
        struct Source {
            const std::vector<unsigned char>* bytes;
            LV2_URID key, type;
            static const void* Retrieve(LV2_State_Handle h, uint32_t key, size_t* size, uint32_t* type,
                                        uint32_t* flags)
            {
                auto* s = static_cast<Source*>(h);
                if (key != s->key)
                    return nullptr;
                *size = s->bytes->size();
                *type = s->type;
                *flags = LV2_STATE_IS_POD;
                return s->bytes->data();
            }
        } source{&bank, host.urids.Id(GRAPHICEQ_URI "#bank"), host.urids.Id(LV2_ATOM__Chunk)};
        return State()->restore(lilv_instance_get_handle(instance), &Source::Retrieve, &source, 0, nullptr);
    }
};
