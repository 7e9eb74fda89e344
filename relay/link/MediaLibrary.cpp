#include "relay/link/MediaLibrary.h"

#include <array>

namespace wingbell {

namespace {

struct Need
{
    const char* element;
    const char* package;
};

/// What a link is put together from by the library itself, and what brings it.
constexpr std::array<Need, 7> needs = {{
    {"appsrc", "gstreamer1.0-plugins-base"},
    {"webrtcbin", "gstreamer1.0-plugins-bad"},
    {"rtpbin", "gstreamer1.0-plugins-good"},
    {"dtlssrtpenc", "gstreamer1.0-plugins-bad"},
    {"srtpenc", "gstreamer1.0-plugins-bad"},
    {"nicesrc", "gstreamer1.0-nice"},
    {"nicesink", "gstreamer1.0-nice"},
}};

} // namespace

MediaLibrary::MediaLibrary(WebRtcLink::Settings settings)
    : m_settings(settings)
{
}

std::optional<QString> MediaLibrary::problem()
{
    gst_init(nullptr, nullptr);
    for (const Need& need : needs) {
        GstElementFactory* factory = gst_element_factory_find(need.element);
        if (factory == nullptr) {
            return QStringLiteral("GStreamer's element %1 is missing; install the package %2")
                .arg(QLatin1String(need.element), QLatin1String(need.package));
        }
        gst_object_unref(factory);
    }
    return std::nullopt;
}

std::shared_ptr<MediaLink> MediaLibrary::makeLink(RtpReceiver receiver)
{
    return WebRtcLink::make(m_settings, std::move(receiver), {m_reaper, m_sending});
}

} // namespace wingbell
