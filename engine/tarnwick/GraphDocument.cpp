#include "engine/tarnwick/GraphDocument.h"

#include <string>

namespace Tarnwick {

namespace {

void Property(pugi::xml_node owner, const char* name, const std::string& value)
{
    pugi::xml_node property = owner.append_child("property");
    property.append_attribute("name") = name;
    property.text() = value.c_str();
}

void Property(pugi::xml_node owner, const char* name, long long value)
{
    Property(owner, name, std::to_string(value));
}

// One of Quillmont's producers, lasting frames frames. MLT's XML makes its producers
// through MLT's loader, which would add its normalising filters (deinterlacing, scaling,
// letterboxing) where the engine, making them by name, adds none: the loader's
// "abnormal" form makes them as the engine does. It stands in the service's name, with
// no resource, which the XML reader would take for a file beside the document.
pugi::xml_node Producer(pugi::xml_node mlt, const std::string& id, const char* service, int32_t frames)
{
    pugi::xml_node producer = mlt.append_child("producer");
    producer.append_attribute("id") = id.c_str();
    producer.append_attribute("in") = 0;
    producer.append_attribute("out") = frames - 1;
    Property(producer, "length", frames);
    Property(producer, "mlt_service", std::string("abnormal:") + service);
    return producer;
}

void Filter(pugi::xml_node owner, const FilterPlan& plan, bool ranged)
{
    pugi::xml_node filter = owner.append_child("filter");
    if (ranged) {
        filter.append_attribute("in") = plan.in;
        filter.append_attribute("out") = plan.out;
    }
    Property(filter, "mlt_service", plan.service);
    for (const auto& [name, value] : plan.properties)
        Property(filter, name.c_str(), value);
}

} // namespace

void WriteGraphDocument(pugi::xml_node mlt, const GraphPlan& plan, int width, int height)
{
    width = GraphDimension(width);
    height = GraphDimension(height);
    const int32_t frames = std::max(1, plan.frames);
    mlt.append_attribute("LC_NUMERIC") = "C";
    mlt.append_attribute("producer") = "timeline";

    // The profile SetGraphProfile gives every graph.
    pugi::xml_node profile = mlt.append_child("profile");
    profile.append_attribute("description") = "Quillmont";
    profile.append_attribute("width") = width;
    profile.append_attribute("height") = height;
    profile.append_attribute("progressive") = 1;
    profile.append_attribute("sample_aspect_num") = 1;
    profile.append_attribute("sample_aspect_den") = 1;
    profile.append_attribute("display_aspect_num") = width;
    profile.append_attribute("display_aspect_den") = height;
    profile.append_attribute("frame_rate_num") = GraphFps;
    profile.append_attribute("frame_rate_den") = 1;
    profile.append_attribute("colorspace") = 601;

    pugi::xml_node ground = Producer(mlt, "ground", MltServices::BlackProducer, frames);
    Filter(ground, {"avcolor_space", {}, 0, 0}, false);

    for (size_t i = 0; i < plan.layers.size(); ++i) {
        const LayerPlan& layer = plan.layers[i];
        pugi::xml_node producer =
            Producer(mlt, "layer" + std::to_string(i + 1), MltServices::TrackProducer, frames);
        for (const auto& [name, value] : MltServices::TrackProperties(layer.track))
            Property(producer, name.c_str(), value);
        for (const FilterPlan& filter : layer.filters)
            Filter(producer, filter, true);
    }

    pugi::xml_node tractor = mlt.append_child("tractor");
    tractor.append_attribute("id") = "timeline";
    tractor.append_attribute("in") = 0;
    tractor.append_attribute("out") = frames - 1;
    tractor.append_child("track").append_attribute("producer") = "ground";
    for (size_t i = 0; i < plan.layers.size(); ++i) {
        pugi::xml_node track = tractor.append_child("track");
        track.append_attribute("producer") = ("layer" + std::to_string(i + 1)).c_str();
        // Pictures only, or sound only.
        track.append_attribute("hide") = plan.layers[i].sound ? "video" : "audio";
    }
    for (size_t i = 0; i < plan.layers.size(); ++i) {
        const bool sound = plan.layers[i].sound;
        pugi::xml_node transition = tractor.append_child("transition");
        Property(transition, "a_track", 0);
        Property(transition, "b_track", static_cast<long long>(i + 1));
        Property(transition, "mlt_service", sound ? "mix" : MltServices::OverTransition);
        Property(transition, "always_active", 1);
        if (sound)
            Property(transition, "sum", 1);
    }
}

} // namespace Tarnwick
