#include "engine/tarnwick/MltServices.h"

#include <Mlt.h>

extern "C" {
#include <libswscale/swscale.h>
}

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <mutex>

namespace Tarnwick::MltServices {

namespace {

struct Area
{
    int x, y, w, h;
};

// The planes of a YUV 4:2:0 picture as MLT lays it out: Y, then U, then V.
struct Planes
{
    uint8_t* y;
    uint8_t* u;
    uint8_t* v;
    int chromaWidth;
    int chromaHeight;
};

Planes PlanesOf(uint8_t* image, int width, int height)
{
    const int cw = (width + 1) / 2, ch = (height + 1) / 2;
    return {image, image + width * height, image + width * height + cw * ch, cw, ch};
}

int Clamp255(int value)
{
    return std::clamp(value, 0, 255);
}

// The square of the greatest distance within which a colour counts as the key.
int KeyReach(double tolerance)
{
    const double reach = std::clamp(tolerance, 0.0, 1.0) * 255.0;
    return static_cast<int>(reach * reach * 3.0);
}

// A pixel's colour in parts (studio-range BT.601, in 1/256ths): its luma's part, and
// its block's chroma parts toward red, green and blue. The keyer and IsKeyed share them.
inline int LumaPart(int y)
{
    return 298 * (y - 16);
}

struct ChromaParts
{
    int red, green, blue;
};

inline ChromaParts ChromaPartsOf(int u, int v)
{
    const int d = u - 128, e = v - 128;
    return {409 * e, -100 * d - 208 * e, 516 * d};
}

// Whether a pixel given in parts lies within reach of the key.
inline bool Within(int luma, const ChromaParts& chroma, int red, int green, int blue, int reach)
{
    const int dr = Clamp255((luma + chroma.red + 128) >> 8) - red;
    const int dg = Clamp255((luma + chroma.green + 128) >> 8) - green;
    const int db = Clamp255((luma + chroma.blue + 128) >> 8) - blue;
    return dr * dr + dg * dg + db * db < reach;
}

// Keying.

// The key of a piece rides on its frame: colour and reach, pushed with the step.
int KeyGetImage(mlt_frame frame, uint8_t** image, mlt_image_format* format, int* width, int* height, int)
{
    const int color = mlt_frame_pop_service_int(frame);
    const int reach = mlt_frame_pop_service_int(frame);
    *format = mlt_image_yuv420p;
    const int error = mlt_frame_get_image(frame, image, format, width, height, 0);
    if (error || *format != mlt_image_yuv420p || *width <= 0 || *height <= 0)
        return error;
    const int red = color & 0xFF, green = (color >> 8) & 0xFF, blue = (color >> 16) & 0xFF;

    const int w = *width, h = *height;
    const Planes planes = PlanesOf(*image, w, h);
    auto* alpha = static_cast<uint8_t*>(mlt_pool_alloc(w * h));
    // A block of up to 2x2 pixels shares its chroma: its parts are worked out once.
    for (int cy = 0; cy < planes.chromaHeight; ++cy) {
        const uint8_t* u = planes.u + cy * planes.chromaWidth;
        const uint8_t* v = planes.v + cy * planes.chromaWidth;
        for (int row = 2 * cy; row < std::min(2 * cy + 2, h); ++row) {
            const uint8_t* y = planes.y + row * w;
            uint8_t* a = alpha + row * w;
            for (int cx = 0; cx < planes.chromaWidth; ++cx) {
                const ChromaParts chroma = ChromaPartsOf(u[cx], v[cx]);
                for (int x = 2 * cx; x < std::min(2 * cx + 2, w); ++x)
                    a[x] = Within(LumaPart(y[x]), chroma, red, green, blue, reach) ? 0 : 255;
            }
        }
    }
    mlt_frame_set_alpha(frame, alpha, w * h, mlt_pool_release);
    return 0;
}

// Fitting a picture of another size to the frame.

// Where the picture's part (from) goes in the frame (to), for a stretch mode: 0 the whole
// picture over the whole frame; 1 at its own size, centred, cut where it is larger; 2
// as large as it fits keeping its shape, black around; 3 filling the frame keeping its
// shape, its overflow cut. Edges fall on even pixels, as 4:2:0 chroma wants.
struct Fit
{
    Area from;
    Area to;
};

int Even(int value)
{
    return value & ~1;
}

Fit FitFor(int mode, int sw, int sh, int fw, int fh)
{
    Fit fit{{0, 0, sw, sh}, {0, 0, fw, fh}};
    const double picture = static_cast<double>(sw) / sh, frame = static_cast<double>(fw) / fh;
    if (mode == 1) {
        const int w = std::min(sw, fw), h = std::min(sh, fh);
        fit.from = {Even((sw - w) / 2), Even((sh - h) / 2), w, h};
        fit.to = {Even((fw - w) / 2), Even((fh - h) / 2), w, h};
    } else if (mode == 2) {
        if (picture > frame) {
            const int h = std::max(2, Even(static_cast<int>(fw / picture + 0.5)));
            fit.to = {0, Even((fh - h) / 2), fw, h};
        } else {
            const int w = std::max(2, Even(static_cast<int>(fh * picture + 0.5)));
            fit.to = {Even((fw - w) / 2), 0, w, fh};
        }
    } else if (mode == 3) {
        if (picture > frame) {
            const int w = std::max(2, Even(static_cast<int>(sh * frame + 0.5)));
            fit.from = {Even((sw - w) / 2), 0, w, sh};
        } else {
            const int h = std::max(2, Even(static_cast<int>(sw / frame + 0.5)));
            fit.from = {0, Even((sh - h) / 2), sw, h};
        }
    }
    return fit;
}

void FillBlack(uint8_t* image, int w, int h)
{
    const Planes p = PlanesOf(image, w, h);
    std::memset(p.y, 16, static_cast<size_t>(w) * h);
    std::memset(p.u, 128, static_cast<size_t>(p.chromaWidth) * p.chromaHeight * 2);
}

// The stretch mode of a piece rides on its frame, pushed with the step.
int FitGetImage(mlt_frame frame, uint8_t** image, mlt_image_format* format, int* width, int* height, int writable)
{
    const int mode = mlt_frame_pop_service_int(frame);
    mlt_properties properties = MLT_FRAME_PROPERTIES(frame);
    const int fw = *width, fh = *height;
    // The picture as decoded, at its own size: the frame's scalers are passed by.
    int sw = mlt_properties_get_int(properties, "width");
    int sh = mlt_properties_get_int(properties, "height");
    if (sw <= 0 || sh <= 0)
        sw = fw, sh = fh;
    *format = mlt_image_yuv420p;
    *width = sw;
    *height = sh;
    uint8_t* source = nullptr;
    const int error = mlt_frame_get_image(frame, &source, format, width, height, writable);
    *image = source;
    if (error || *format != mlt_image_yuv420p || (*width == fw && *height == fh) || fw <= 0 || fh <= 0)
        return error;
    sw = *width;
    sh = *height;
    const Fit fit = FitFor(mode, sw, sh, fw, fh);
    const int size = mlt_image_format_size(mlt_image_yuv420p, fw, fh, nullptr);
    auto* fitted = static_cast<uint8_t*>(mlt_pool_alloc(size));
    if (fit.to.w != fw || fit.to.h != fh)
        FillBlack(fitted, fw, fh);
    // One scaler per rendering thread, kept between frames and freed with the thread
    // (players and saves start threads of their own).
    struct Scaler
    {
        SwsContext* context = nullptr;
        ~Scaler() { sws_freeContext(context); }
    };
    thread_local Scaler cached;
    SwsContext*& scaler = cached.context;
    scaler = sws_getCachedContext(scaler, fit.from.w, fit.from.h, AV_PIX_FMT_YUV420P, fit.to.w, fit.to.h,
                                  AV_PIX_FMT_YUV420P, SWS_BILINEAR, nullptr, nullptr, nullptr);
    const Planes in = PlanesOf(source, sw, sh), out = PlanesOf(fitted, fw, fh);
    const uint8_t* const from[3] = {in.y + fit.from.y * sw + fit.from.x,
                                    in.u + (fit.from.y / 2) * in.chromaWidth + fit.from.x / 2,
                                    in.v + (fit.from.y / 2) * in.chromaWidth + fit.from.x / 2};
    uint8_t* const to[3] = {out.y + fit.to.y * fw + fit.to.x, out.u + (fit.to.y / 2) * out.chromaWidth + fit.to.x / 2,
                            out.v + (fit.to.y / 2) * out.chromaWidth + fit.to.x / 2};
    const int fromStrides[3] = {sw, in.chromaWidth, in.chromaWidth};
    const int toStrides[3] = {fw, out.chromaWidth, out.chromaWidth};
    if (scaler)
        sws_scale(scaler, from, fromStrides, 0, fit.from.h, to, toStrides);
    mlt_frame_set_image(frame, fitted, size, mlt_pool_release);
    *image = fitted;
    *width = fw;
    *height = fh;
    return 0;
}

// Tracks of pieces.

struct Track
{
    struct Piece
    {
        int32_t first;
        int32_t length;
        mlt_producer producer;
        int32_t in;
        bool still;
        int fitMode; // -1: taken as it comes
        bool keyed;
        int keyColor; // red, green, blue in the low three bytes
        int keyReach;
    };
    std::vector<Piece> pieces; // by first frame

    ~Track()
    {
        for (Piece& piece : pieces)
            mlt_producer_close(piece.producer);
    }
};

void DropTrack(void* track)
{
    delete static_cast<Track*>(track);
}

int TrackGetFrame(mlt_producer producer, mlt_frame_ptr frame, int index)
{
    const mlt_position position = mlt_producer_position(producer);
    const auto* track =
        static_cast<const Track*>(mlt_properties_get_data(MLT_PRODUCER_PROPERTIES(producer), "_track", nullptr));
    const Track::Piece* piece = nullptr;
    if (track) {
        auto after = std::upper_bound(track->pieces.begin(), track->pieces.end(), position,
                                      [](mlt_position p, const Track::Piece& piece) { return p < piece.first; });
        if (after != track->pieces.begin()) {
            const Track::Piece& candidate = *std::prev(after);
            if (position < candidate.first + candidate.length)
                piece = &candidate;
        }
    }
    int error = 0;
    if (piece) {
        // A still's reader may hold one picture only (a GIF, a BMP): it is always asked
        // for that one.
        mlt_producer_seek(piece->producer, piece->still ? piece->in : piece->in + position - piece->first);
        error = mlt_service_get_frame(MLT_PRODUCER_SERVICE(piece->producer), frame, index);
        if (!error && *frame) {
            // The piece's own steps, innermost first: fitted to the frame, then keyed.
            if (piece->fitMode >= 0) {
                mlt_frame_push_service_int(*frame, piece->fitMode);
                mlt_frame_push_get_image(*frame, FitGetImage);
            }
            if (piece->keyed) {
                mlt_frame_push_service_int(*frame, piece->keyReach);
                mlt_frame_push_service_int(*frame, piece->keyColor);
                mlt_frame_push_get_image(*frame, KeyGetImage);
            }
        }
    }
    if (!piece || error || !*frame) {
        // A gap: a frame with neither picture nor sound, which the layers beneath show
        // through.
        *frame = mlt_frame_init(MLT_PRODUCER_SERVICE(producer));
        mlt_properties properties = MLT_FRAME_PROPERTIES(*frame);
        mlt_properties_set_int(properties, "test_image", 1);
        mlt_properties_set_int(properties, "test_audio", 1);
    }
    // The track's own position, for the filters attached to it by their ranges.
    mlt_frame_set_position(*frame, position);
    mlt_producer_prepare_next(producer);
    return 0;
}

// A producer made by mlt_producer_new is ours to free once MLT has closed it.
void CloseOwnProducer(mlt_producer producer)
{
    producer->close = nullptr;
    mlt_producer_close(producer);
    std::free(producer);
}

mlt_producer NewProducer(mlt_profile profile, int (*getFrame)(mlt_producer, mlt_frame_ptr, int))
{
    mlt_producer producer = mlt_producer_new(profile);
    if (producer) {
        producer->get_frame = getFrame;
        producer->close = reinterpret_cast<mlt_destructor>(CloseOwnProducer);
        producer->close_object = producer;
    }
    return producer;
}

void* CreateTrack(mlt_profile profile, mlt_service_type, const char*, const void*)
{
    return NewProducer(profile, TrackGetFrame);
}

// The black ground: a picture made in the format asked for, so that nothing converts it.

int BlackGetImage(mlt_frame frame, uint8_t** image, mlt_image_format* format, int* width, int* height, int)
{
    mlt_properties properties = MLT_FRAME_PROPERTIES(frame);
    if (*width <= 0 || *height <= 0) {
        *width = mlt_properties_get_int(properties, "width");
        *height = mlt_properties_get_int(properties, "height");
    }
    if (*format != mlt_image_rgba && *format != mlt_image_yuv422)
        *format = mlt_image_yuv420p;
    const int w = *width, h = *height;
    const int size = mlt_image_format_size(*format, w, h, nullptr);
    auto* black = static_cast<uint8_t*>(mlt_pool_alloc(size));
    if (*format == mlt_image_yuv420p) {
        FillBlack(black, w, h);
    } else if (*format == mlt_image_rgba) {
        for (int i = 0; i < w * h; ++i)
            std::memcpy(black + 4 * i, "\0\0\0\xff", 4);
    } else { // packed 4:2:2, luma and chroma in turn
        for (int i = 0; i < w * h; ++i) {
            black[2 * i] = 16;
            black[2 * i + 1] = 128;
        }
    }
    mlt_frame_set_image(frame, black, size, mlt_pool_release);
    *image = black;
    return 0;
}

int BlackGetFrame(mlt_producer producer, mlt_frame_ptr frame, int)
{
    *frame = mlt_frame_init(MLT_PRODUCER_SERVICE(producer));
    if (!*frame)
        return 1;
    mlt_properties properties = MLT_FRAME_PROPERTIES(*frame);
    const mlt_profile profile = mlt_service_profile(MLT_PRODUCER_SERVICE(producer));
    mlt_frame_set_position(*frame, mlt_producer_position(producer));
    mlt_properties_set_int(properties, "width", profile->width);
    mlt_properties_set_int(properties, "height", profile->height);
    mlt_properties_set_int(properties, "progressive", 1);
    mlt_properties_set_double(properties, "aspect_ratio", 1.0);
    mlt_frame_push_get_image(*frame, BlackGetImage);
    mlt_producer_prepare_next(producer);
    return 0;
}

void* CreateBlack(mlt_profile profile, mlt_service_type, const char*, const void*)
{
    return NewProducer(profile, BlackGetFrame);
}

// Laying one picture over another.

inline uint8_t Mix(int over, int under, int alpha)
{
    return static_cast<uint8_t>((over * alpha + under * (255 - alpha) + 127) / 255);
}

void Blend(uint8_t* under, const uint8_t* over, const uint8_t* alpha, int w, int h)
{
    const Planes a = PlanesOf(under, w, h);
    const Planes b = PlanesOf(const_cast<uint8_t*>(over), w, h);
    for (int i = 0, n = w * h; i < n; ++i) {
        const int opacity = alpha[i];
        if (opacity == 255)
            a.y[i] = b.y[i];
        else if (opacity != 0)
            a.y[i] = Mix(b.y[i], a.y[i], opacity);
    }
    // Each chroma sample covers up to four pixels: it takes their mean opacity.
    for (int row = 0; row < a.chromaHeight; ++row) {
        const uint8_t* top = alpha + 2 * row * w;
        const uint8_t* bottom = 2 * row + 1 < h ? top + w : top;
        for (int x = 0; x < a.chromaWidth; ++x) {
            const int left = 2 * x, right = std::min(2 * x + 1, w - 1);
            const int opacity = (top[left] + top[right] + bottom[left] + bottom[right] + 2) / 4;
            const int i = row * a.chromaWidth + x;
            if (opacity == 255) {
                a.u[i] = b.u[i];
                a.v[i] = b.v[i];
            } else if (opacity != 0) {
                a.u[i] = Mix(b.u[i], a.u[i], opacity);
                a.v[i] = Mix(b.v[i], a.v[i], opacity);
            }
        }
    }
}

int OverGetImage(mlt_frame aFrame, uint8_t** image, mlt_image_format* format, int* width, int* height, int)
{
    mlt_frame bFrame = mlt_frame_pop_frame(aFrame);
    *format = mlt_image_yuv420p;
    int error = mlt_frame_get_image(aFrame, image, format, width, height, 1);
    if (error || *format != mlt_image_yuv420p || !bFrame || mlt_frame_is_test_card(bFrame))
        return error;
    uint8_t* over = nullptr;
    mlt_image_format overFormat = mlt_image_yuv420p;
    int w = *width, h = *height;
    if (mlt_frame_get_image(bFrame, &over, &overFormat, &w, &h, 0) || !over || overFormat != mlt_image_yuv420p
        || w != *width || h != *height)
        return 0;
    int alphaSize = 0;
    const uint8_t* alpha = mlt_frame_get_alpha_size(bFrame, &alphaSize);
    if (!alpha || alphaSize < w * h) {
        std::memcpy(*image, over, static_cast<size_t>(mlt_image_format_size(mlt_image_yuv420p, w, h, nullptr)));
        return 0;
    }
    Blend(*image, over, alpha, w, h);
    return 0;
}

mlt_frame OverProcess(mlt_transition, mlt_frame aFrame, mlt_frame bFrame)
{
    mlt_frame_push_frame(aFrame, bFrame);
    mlt_frame_push_get_image(aFrame, OverGetImage);
    return aFrame;
}

void* CreateOver(mlt_profile, mlt_service_type, const char*, const void*)
{
    mlt_transition transition = mlt_transition_new();
    if (transition) {
        transition->process = OverProcess;
        // A transition of pictures only.
        mlt_properties_set_int(MLT_TRANSITION_PROPERTIES(transition), "_transition_type", 1);
    }
    return transition;
}

// The effect lane: ranges in the lane's order, and an index for finding the ones that
// hold a frame without looking at them all.
struct EffectLane
{
    std::vector<EffectRange> ranges;
    EffectMaker make;
    // Indices by in, and the furthest out reached by that index or any before it (an
    // out of 0 reaches to the end, as an attached filter's does).
    std::vector<size_t> byIn;
    std::vector<int32_t> reach;
    std::mutex mutex;
    std::vector<std::unique_ptr<Mlt::Filter>> made;
    std::vector<bool> tried;

    static int32_t Reach(const EffectRange& r) { return r.out == 0 ? INT32_MAX : r.out; }

    // As MLT applies an attached filter: in and out both 0 is every frame.
    static bool Holds(const EffectRange& r, int32_t position)
    {
        return (r.in == 0 && r.out == 0) || (position >= r.in && (position <= r.out || r.out == 0));
    }

    void Index()
    {
        byIn.resize(ranges.size());
        for (size_t i = 0; i < byIn.size(); ++i)
            byIn[i] = i;
        std::stable_sort(byIn.begin(), byIn.end(), [this](size_t a, size_t b) { return ranges[a].in < ranges[b].in; });
        reach.resize(byIn.size());
        for (size_t k = 0; k < byIn.size(); ++k)
            reach[k] = std::max(k ? reach[k - 1] : INT32_MIN, Reach(ranges[byIn[k]]));
        made.resize(ranges.size());
        tried.assign(ranges.size(), false);
    }

    // The effects that hold position, in the lane's order.
    std::vector<size_t> Holding(int32_t position) const
    {
        std::vector<size_t> found;
        auto k = static_cast<std::ptrdiff_t>(
            std::upper_bound(byIn.begin(), byIn.end(), position,
                             [this](int32_t p, size_t i) { return p < ranges[i].in; })
            - byIn.begin());
        for (--k; k >= 0 && reach[static_cast<size_t>(k)] >= position; --k)
            if (Holds(ranges[byIn[static_cast<size_t>(k)]], position))
                found.push_back(byIn[static_cast<size_t>(k)]);
        // A range of in and out 0 starts at 0, so the walk above meets it.
        std::sort(found.begin(), found.end());
        return found;
    }

    mlt_filter FilterOf(size_t index)
    {
        std::lock_guard lock(mutex);
        if (!tried[index]) {
            tried[index] = true;
            made[index] = make(index);
        }
        return made[index] && made[index]->is_valid() ? made[index]->get_filter() : nullptr;
    }
};

void DropEffectLane(void* lane)
{
    delete static_cast<EffectLane*>(lane);
}

mlt_frame EffectsProcess(mlt_filter filter, mlt_frame frame)
{
    auto* lane = static_cast<EffectLane*>(mlt_properties_get_data(MLT_FILTER_PROPERTIES(filter), "_lane", nullptr));
    if (!lane)
        return frame;
    mlt_properties properties = MLT_FRAME_PROPERTIES(frame);
    // The lane itself is applied over the whole layer, so the frame says the layer's in
    // and out now; an effect with an end of 0 takes them, as it would attached.
    const mlt_position layerIn = mlt_properties_get_position(properties, "in");
    const mlt_position layerOut = mlt_properties_get_position(properties, "out");
    for (size_t index : lane->Holding(mlt_frame_get_position(frame))) {
        mlt_filter effect = lane->FilterOf(index);
        if (!effect || mlt_properties_get_int(MLT_FILTER_PROPERTIES(effect), "disable"))
            continue;
        const mlt_position in = mlt_filter_get_in(effect), out = mlt_filter_get_out(effect);
        mlt_properties_set_position(properties, "in", in == 0 ? layerIn : in);
        mlt_properties_set_position(properties, "out", out == 0 ? layerOut : out);
        mlt_filter_process(effect, frame);
    }
    return frame;
}

void* CreateEffects(mlt_profile, mlt_service_type, const char*, const void*)
{
    mlt_filter filter = mlt_filter_new();
    if (filter)
        filter->process = EffectsProcess;
    return filter;
}

} // namespace

std::unique_ptr<Mlt::Filter> MakeEffects(Mlt::Profile& profile, std::vector<EffectRange> ranges, EffectMaker make)
{
    auto filter = std::make_unique<Mlt::Filter>(profile, EffectsFilter);
    if (!filter->is_valid())
        return nullptr;
    auto* lane = new EffectLane;
    lane->ranges = std::move(ranges);
    lane->make = std::move(make);
    lane->Index();
    mlt_properties_set_data(MLT_FILTER_PROPERTIES(filter->get_filter()), "_lane", lane, 0, DropEffectLane, nullptr);
    return filter;
}

bool IsKeyed(int y, int u, int v, int red, int green, int blue, double tolerance)
{
    return Within(LumaPart(y), ChromaPartsOf(u, v), red, green, blue, KeyReach(tolerance));
}

void Register(Mlt::Repository& repository)
{
    repository.register_service(mlt_service_producer_type, TrackProducer, CreateTrack);
    repository.register_service(mlt_service_producer_type, BlackProducer, CreateBlack);
    repository.register_service(mlt_service_transition_type, OverTransition, CreateOver);
    repository.register_service(mlt_service_filter_type, EffectsFilter, CreateEffects);
}

std::unique_ptr<Mlt::Producer> MakeTrack(Mlt::Profile& profile, std::vector<TrackPiece> pieces, int32_t frames)
{
    auto producer = std::make_unique<Mlt::Producer>(profile, TrackProducer, "track");
    if (!producer->is_valid())
        return nullptr;
    auto* track = new Track;
    track->pieces.reserve(pieces.size());
    for (TrackPiece& piece : pieces) {
        if (!piece.producer || piece.length <= 0)
            continue;
        // The track keeps its own reference to each piece.
        mlt_producer raw = piece.producer->get_producer();
        mlt_properties_inc_ref(MLT_PRODUCER_PROPERTIES(raw));
        const int color = (piece.keyRed & 0xFF) | (piece.keyGreen & 0xFF) << 8 | (piece.keyBlue & 0xFF) << 16;
        track->pieces.push_back({piece.first, piece.length, raw, piece.in, piece.still, piece.fitMode, piece.keyed,
                                 color, KeyReach(piece.keyTolerance)});
    }
    std::sort(track->pieces.begin(), track->pieces.end(),
              [](const Track::Piece& a, const Track::Piece& b) { return a.first < b.first; });
    mlt_properties properties = MLT_PRODUCER_PROPERTIES(producer->get_producer());
    mlt_properties_set_data(properties, "_track", track, 0, DropTrack, nullptr);
    frames = std::max(1, frames);
    producer->set("length", frames);
    producer->set("in", 0);
    producer->set("out", frames - 1);
    return producer;
}

} // namespace Tarnwick::MltServices
