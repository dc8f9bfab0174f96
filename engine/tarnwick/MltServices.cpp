#include "engine/tarnwick/MltServices.h"

#include <Mlt.h>

extern "C" {
#include <libswscale/swscale.h>
}

#include <algorithm>
#include <atomic>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <span>
#include <string>

namespace Tarnwick::MltServices {

namespace {

// A producer made by mlt_producer_new is ours to free once MLT has closed it.
void CloseOwnProducer(mlt_producer producer)
{
    producer->close = nullptr;
    mlt_producer_close(producer);
    std::free(producer);
}

} // namespace

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

// Which lumas of a chroma block (u, v) lie within reach of a key: 256 bits a block, each
// worked out the first time a block of those parts is keyed, and kept for the key's
// colour and reach. A picture then costs a lookup a pixel rather than a colour
// distance; keyed overlays are mostly one colour, so few blocks are ever worked out.
class KeyTable
{
public:
    KeyTable(int color, int reach)
        : m_red(color & 0xFF)
        , m_green((color >> 8) & 0xFF)
        , m_blue((color >> 16) & 0xFF)
        , m_reach(reach)
        , m_blocks(std::make_unique<Block[]>(1 << 16))
    {
    }

    // The bits of a block, in four words of 64 lumas. The pictures' workers share the
    // table: a block worked out twice at once is written twice alike.
    const std::atomic<uint64_t>* Bits(int u, int v)
    {
        Block& block = m_blocks[(u << 8) | v];
        if (!block.ready.load(std::memory_order_acquire)) {
            const ChromaParts chroma = ChromaPartsOf(u, v);
            for (int word = 0; word < 4; ++word) {
                uint64_t bits = 0;
                for (int bit = 0; bit < 64; ++bit)
                    if (Within(LumaPart(word * 64 + bit), chroma, m_red, m_green, m_blue, m_reach))
                        bits |= uint64_t{1} << bit;
                block.bits[word].store(bits, std::memory_order_relaxed);
            }
            block.ready.store(true, std::memory_order_release);
        }
        return block.bits;
    }

    // The table of a key, made once.
    static KeyTable& Of(int color, int reach)
    {
        static std::mutex mutex;
        static std::map<std::pair<int, int>, std::unique_ptr<KeyTable>> tables;
        std::lock_guard lock(mutex);
        auto& table = tables[{color, reach}];
        if (!table)
            table = std::make_unique<KeyTable>(color, reach);
        return *table;
    }

private:
    struct Block
    {
        std::atomic<uint64_t> bits[4];
        std::atomic<bool> ready{false};
    };

    const int m_red, m_green, m_blue, m_reach;
    std::unique_ptr<Block[]> m_blocks;
};

// The alpha of a YUV 4:2:0 picture keyed on a colour (red, green, blue in the low three
// bytes) within reach: 0 where keyed, 255 elsewhere.
void KeyAlpha(const uint8_t* image, int w, int h, int color, int reach, uint8_t* alpha)
{
    KeyTable& table = KeyTable::Of(color, reach);
    const Planes planes = PlanesOf(const_cast<uint8_t*>(image), w, h);
    // A block of up to 2x2 pixels shares its chroma, and so its bits; neighbouring blocks
    // mostly share their chroma too, so the bits are taken again only when it changes.
    auto opacity = [](const uint64_t* words, int luma) {
        return static_cast<uint8_t>(((words[luma >> 6] >> (luma & 63)) & 1) - 1); // keyed 0, else 255
    };
    for (int cy = 0; cy < planes.chromaHeight; ++cy) {
        const uint8_t* u = planes.u + cy * planes.chromaWidth;
        const uint8_t* v = planes.v + cy * planes.chromaWidth;
        const uint8_t* y0 = planes.y + 2 * cy * w;
        const uint8_t* y1 = 2 * cy + 1 < h ? y0 + w : nullptr;
        uint8_t* a0 = alpha + 2 * cy * w;
        uint8_t* a1 = y1 ? a0 + w : nullptr;
        int chromaInHand = -1;
        uint64_t words[4] = {};
        for (int cx = 0; cx < planes.chromaWidth; ++cx) {
            const int chroma = u[cx] << 8 | v[cx];
            if (chroma != chromaInHand) {
                const std::atomic<uint64_t>* bits = table.Bits(u[cx], v[cx]);
                for (int word = 0; word < 4; ++word)
                    words[word] = bits[word].load(std::memory_order_relaxed);
                chromaInHand = chroma;
            }
            const int x = 2 * cx;
            const bool pair = x + 1 < w;
            a0[x] = opacity(words, y0[x]);
            if (pair)
                a0[x + 1] = opacity(words, y0[x + 1]);
            if (y1) {
                a1[x] = opacity(words, y1[x]);
                if (pair)
                    a1[x + 1] = opacity(words, y1[x + 1]);
            }
        }
    }
}

// The key of a piece rides on its frame: colour and reach, pushed with the step.
int KeyGetImage(mlt_frame frame, uint8_t** image, mlt_image_format* format, int* width, int* height, int)
{
    const int color = mlt_frame_pop_service_int(frame);
    const int reach = mlt_frame_pop_service_int(frame);
    *format = mlt_image_yuv420p;
    const int error = mlt_frame_get_image(frame, image, format, width, height, 0);
    if (error || *format != mlt_image_yuv420p || *width <= 0 || *height <= 0)
        return error;
    const int w = *width, h = *height;
    auto* alpha = static_cast<uint8_t*>(mlt_pool_alloc(w * h));
    KeyAlpha(*image, w, h, color, reach, alpha);
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
        int source;
        int32_t in;
        bool still;
        int fitMode; // -1: taken as it comes
        bool keyed;
        int keyColor; // red, green, blue in the low three bytes
        int keyReach;
    };
    std::vector<mlt_producer> producers; // one per source, null where it did not open
    std::vector<Piece> pieces;           // by first frame

    Track(const TrackSpec& spec, std::vector<mlt_producer> opened)
        : producers(std::move(opened))
    {
        pieces.reserve(spec.pieces.size());
        for (const TrackPiece& piece : spec.pieces) {
            if (piece.length <= 0 || piece.source < 0 || static_cast<size_t>(piece.source) >= producers.size()
                || !producers[static_cast<size_t>(piece.source)])
                continue;
            const int color = (piece.keyRed & 0xFF) | (piece.keyGreen & 0xFF) << 8 | (piece.keyBlue & 0xFF) << 16;
            pieces.push_back({piece.first, piece.length, piece.source, piece.in,
                              spec.sources[static_cast<size_t>(piece.source)].still, std::clamp(piece.fitMode, -1, 3),
                              piece.keyed, color, KeyReach(piece.keyTolerance)});
        }
        std::stable_sort(pieces.begin(), pieces.end(), [](const Piece& a, const Piece& b) { return a.first < b.first; });
    }
    ~Track()
    {
        for (mlt_producer producer : producers)
            if (producer)
                mlt_producer_close(producer);
    }
};

void DropTrack(void* track)
{
    delete static_cast<Track*>(track);
}

// A track made from its properties, as MLT's XML gives them: it opens its sources itself.
Track* TrackOfProperties(mlt_producer producer)
{
    mlt_properties properties = MLT_PRODUCER_PROPERTIES(producer);
    TrackSpec spec;
    std::vector<mlt_producer> opened;
    if (TrackFromProperties(properties, spec)) {
        mlt_profile profile = mlt_service_profile(MLT_PRODUCER_SERVICE(producer));
        for (const SourceSpec& source : spec.sources) {
            std::unique_ptr<Mlt::Producer> made = OpenSource(profile, source);
            mlt_producer raw = made ? made->get_producer() : nullptr;
            if (raw)
                mlt_properties_inc_ref(MLT_PRODUCER_PROPERTIES(raw));
            opened.push_back(raw);
        }
    } else {
        spec.pieces.clear();
    }
    auto* track = new Track(spec, std::move(opened));
    mlt_properties_set_data(properties, "_track", track, 0, DropTrack, nullptr);
    return track;
}

int TrackGetFrame(mlt_producer producer, mlt_frame_ptr frame, int index)
{
    const mlt_position position = mlt_producer_position(producer);
    mlt_properties properties = MLT_PRODUCER_PROPERTIES(producer);
    auto* track = static_cast<const Track*>(mlt_properties_get_data(properties, "_track", nullptr));
    if (!track) {
        // The service's own lock is held already while its frames are got.
        static std::mutex building;
        std::lock_guard lock(building);
        track = static_cast<const Track*>(mlt_properties_get_data(properties, "_track", nullptr));
        if (!track)
            track = TrackOfProperties(producer);
    }
    const Track::Piece* piece = nullptr;
    auto after = std::upper_bound(track->pieces.begin(), track->pieces.end(), position,
                                  [](mlt_position p, const Track::Piece& piece) { return p < piece.first; });
    if (after != track->pieces.begin()) {
        const Track::Piece& candidate = *std::prev(after);
        if (position < candidate.first + candidate.length)
            piece = &candidate;
    }
    mlt_producer parent = piece ? track->producers[static_cast<size_t>(piece->source)] : nullptr;
    // A still's reader may hold one picture only (a GIF, a BMP): it is always asked for
    // that one.
    const mlt_position at = !piece ? 0 : piece->still ? piece->in : piece->in + position - piece->first;
    // Where the file holds less than the timeline asks of it, the piece ends early.
    if (parent && at >= mlt_producer_get_length(parent))
        parent = nullptr;
    int error = 0;
    if (parent) {
        mlt_producer_seek(parent, at);
        error = mlt_service_get_frame(MLT_PRODUCER_SERVICE(parent), frame, index);
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
    if (!parent || error || !*frame) {
        // A gap: a frame with neither picture nor sound, which the layers beneath show
        // through.
        *frame = mlt_frame_init(MLT_PRODUCER_SERVICE(producer));
        mlt_properties frameProperties = MLT_FRAME_PROPERTIES(*frame);
        mlt_properties_set_int(frameProperties, "test_image", 1);
        mlt_properties_set_int(frameProperties, "test_audio", 1);
    }
    // The track's own position, for the filters attached to it by their ranges.
    mlt_frame_set_position(*frame, position);
    mlt_producer_prepare_next(producer);
    return 0;
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

// Pixelating: each block of the picture takes its mean colour, in YUV 4:2:0 as the graph
// carries it (a chroma block is half its luma block each way).

// The mean of each block of a plane, written over the block.
void Pixelate(uint8_t* plane, int width, int height, int blockWidth, int blockHeight)
{
    for (int top = 0; top < height; top += blockHeight) {
        const int bottom = std::min(height, top + blockHeight);
        for (int left = 0; left < width; left += blockWidth) {
            const int right = std::min(width, left + blockWidth);
            int sum = 0;
            for (int y = top; y < bottom; ++y)
                for (int x = left; x < right; ++x)
                    sum += plane[y * width + x];
            const int count = (bottom - top) * (right - left);
            const auto mean = static_cast<uint8_t>((sum + count / 2) / count);
            for (int y = top; y < bottom; ++y)
                std::memset(plane + y * width + left, mean, static_cast<size_t>(right - left));
        }
    }
}

int PixelateGetImage(mlt_frame frame, uint8_t** image, mlt_image_format* format, int* width, int* height, int)
{
    auto filter = static_cast<mlt_filter>(mlt_frame_pop_service(frame));
    *format = mlt_image_yuv420p;
    const int error = mlt_frame_get_image(frame, image, format, width, height, 1);
    if (error || *format != mlt_image_yuv420p || *width <= 0 || *height <= 0)
        return error;
    mlt_properties properties = MLT_FILTER_PROPERTIES(filter);
    const int w = *width, h = *height;
    // Blocks of a share of the picture, even, so that the chroma blocks match them.
    const int bw = std::max(2, 2 * static_cast<int>(std::lround(mlt_properties_get_double(properties, "block_width") * w / 2)));
    const int bh = std::max(2, 2 * static_cast<int>(std::lround(mlt_properties_get_double(properties, "block_height") * h / 2)));
    const Planes planes = PlanesOf(*image, w, h);
    Pixelate(planes.y, w, h, bw, bh);
    Pixelate(planes.u, planes.chromaWidth, planes.chromaHeight, bw / 2, bh / 2);
    Pixelate(planes.v, planes.chromaWidth, planes.chromaHeight, bw / 2, bh / 2);
    return 0;
}

mlt_frame PixelateProcess(mlt_filter filter, mlt_frame frame)
{
    mlt_frame_push_service(frame, filter);
    mlt_frame_push_get_image(frame, PixelateGetImage);
    return frame;
}

void* CreatePixelate(mlt_profile, mlt_service_type, const char*, const void*)
{
    mlt_filter filter = mlt_filter_new();
    if (filter)
        filter->process = PixelateProcess;
    return filter;
}

// Eight opacities at once: 0 when all are transparent, 1 when all are opaque, else -1.
inline int Run8(const uint8_t* alpha)
{
    uint64_t word;
    std::memcpy(&word, alpha, sizeof word);
    return word == 0 ? 0 : word == ~uint64_t{0} ? 1 : -1;
}

void Blend(uint8_t* under, const uint8_t* over, const uint8_t* alpha, int w, int h)
{
    const Planes a = PlanesOf(under, w, h);
    const Planes b = PlanesOf(const_cast<uint8_t*>(over), w, h);
    // Keyed overlays are mostly wholly clear or wholly covering: runs of eight pixels of
    // one opacity are passed over or copied at once.
    const int n = w * h;
    int i = 0;
    for (; i + 8 <= n; i += 8) {
        const int run = Run8(alpha + i);
        if (run == 0)
            continue;
        if (run == 1) {
            std::memcpy(a.y + i, b.y + i, 8);
            continue;
        }
        for (int j = i; j < i + 8; ++j)
            if (alpha[j] != 0)
                a.y[j] = alpha[j] == 255 ? b.y[j] : Mix(b.y[j], a.y[j], alpha[j]);
    }
    for (; i < n; ++i)
        if (alpha[i] != 0)
            a.y[i] = alpha[i] == 255 ? b.y[i] : Mix(b.y[i], a.y[i], alpha[i]);
    // Each chroma sample covers up to four pixels: it takes their mean opacity.
    for (int row = 0; row < a.chromaHeight; ++row) {
        const uint8_t* top = alpha + 2 * row * w;
        const uint8_t* bottom = 2 * row + 1 < h ? top + w : top;
        for (int x = 0; x < a.chromaWidth; ++x) {
            const int left = 2 * x, right = std::min(2 * x + 1, w - 1);
            if (left + 8 <= w && (left & 7) == 0) {
                // Four samples under two rows of eight pixels of one opacity.
                const int runTop = Run8(top + left), runBottom = Run8(bottom + left);
                if (runTop == runBottom && runTop >= 0) {
                    const int i = row * a.chromaWidth + x;
                    if (runTop == 1) {
                        std::memcpy(a.u + i, b.u + i, 4);
                        std::memcpy(a.v + i, b.v + i, 4);
                    }
                    x += 3;
                    continue;
                }
            }
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

// Describing a track in text: numbers written and read in the C locale, whatever the
// process's own.

std::string Number(double value)
{
    char text[32];
    const auto result = std::to_chars(text, text + sizeof text, value);
    return std::string(text, result.ptr);
}

std::string Number(int64_t value)
{
    return std::to_string(value);
}

// Reads the next number of a text; false at its end or on anything else.
template <class T>
bool Next(const char*& at, const char* end, T& value)
{
    while (at < end && (*at == ' ' || *at == '\n' || *at == '\t'))
        ++at;
    if (at >= end)
        return false;
    const auto result = std::from_chars(at, end, value);
    if (result.ec != std::errc())
        return false;
    at = result.ptr;
    return true;
}

const char* RoleWord(SourceSpec::Role role)
{
    switch (role) {
    case SourceSpec::Role::Overlay:
        return "overlay";
    case SourceSpec::Role::Sound:
        return "sound";
    case SourceSpec::Role::Video:
        break;
    }
    return "video";
}

// Metadata, as "melt -query" shows it.

mlt_properties Metadata(mlt_service_type type, const char* id, void*)
{
    struct Text
    {
        const char* id;
        const char* title;
        const char* description;
    };
    static const Text texts[] = {
        {TrackProducer, "Quillmont track",
         "A track of Quillmont's timeline: pieces of files at given frames, each fitted to the frame by its "
         "stretch mode and, on the overlay, keyed on its colour; gaps between them."},
        {BlackProducer, "Quillmont black", "Black pictures, in the format asked for."},
        {OverTransition, "Quillmont over", "Lays the B frame over the A frame by the B frame's alpha."},
        {EffectsFilter, "Quillmont effects",
         "The lane of effects of Quillmont's engine: hands each frame to the effects whose range holds it, in the "
         "lane's order, each made when first needed. Only the engine gives it its effects; a saved project holds "
         "them as filters attached by their ranges."},
        {PixelateFilter, "Quillmont pixelate",
         "Makes each block of the picture one colour, the mean of the block, in YUV 4:2:0."},
    };
    const Text* text = nullptr;
    for (const Text& candidate : texts)
        if (std::strcmp(candidate.id, id) == 0)
            text = &candidate;
    if (!text)
        return nullptr;
    mlt_properties metadata = mlt_properties_new();
    mlt_properties_set(metadata, "schema_version", "7.0");
    mlt_properties_set(metadata, "type", type == mlt_service_transition_type ? "transition"
                                         : type == mlt_service_filter_type   ? "filter"
                                                                             : "producer");
    mlt_properties_set(metadata, "identifier", id);
    mlt_properties_set(metadata, "title", text->title);
    mlt_properties_set(metadata, "version", "1");
    mlt_properties_set(metadata, "creator", "Quillmont");
    mlt_properties_set(metadata, "language", "en");
    mlt_properties_set(metadata, "description", text->description);
    mlt_properties tags = mlt_properties_new();
    mlt_properties_set(tags, "0", "Video");
    if (std::strcmp(id, TrackProducer) == 0)
        mlt_properties_set(tags, "1", "Audio");
    mlt_properties_set_data(metadata, "tags", tags, 0, reinterpret_cast<mlt_destructor>(mlt_properties_close), nullptr);
    const Text trackParameters[] = {
        {"sources", "Sources", "How many files the pieces are cut from."},
        {"source.N", "Source N", "The path of source N, from 0."},
        {"source.N.form", "Form of source N",
         "Its role (video, overlay or sound), the stream's index in the file, the speed, 1 for a still, 1 for "
         "a still read as an image sequence, and its length in frames at that speed (0 for MLT's own)."},
        {"pieces", "Pieces",
         "Per piece, separated by semicolons: first frame, length, source, first frame in the source, stretch "
         "mode (-1 to 3), keyed (0 or 1), key red, green, blue, and key tolerance (0 to 1)."},
    };
    const Text pixelateParameters[] = {
        {"block_width", "Block width", "A block's width as a share of the picture's, 0 to 1."},
        {"block_height", "Block height", "A block's height as a share of the picture's, 0 to 1."},
    };
    std::span<const Text> described;
    if (std::strcmp(id, TrackProducer) == 0)
        described = trackParameters;
    else if (std::strcmp(id, PixelateFilter) == 0)
        described = pixelateParameters;
    if (!described.empty()) {
        mlt_properties parameters = mlt_properties_new();
        int n = 0;
        for (const Text& parameter : described) {
            mlt_properties entry = mlt_properties_new();
            mlt_properties_set(entry, "identifier", parameter.id);
            mlt_properties_set(entry, "title", parameter.title);
            mlt_properties_set(entry, "type", "string");
            mlt_properties_set(entry, "description", parameter.description);
            mlt_properties_set_data(parameters, std::to_string(n++).c_str(), entry, 0,
                                    reinterpret_cast<mlt_destructor>(mlt_properties_close), nullptr);
        }
        mlt_properties_set_data(metadata, "parameters", parameters, 0,
                                reinterpret_cast<mlt_destructor>(mlt_properties_close), nullptr);
    }
    return metadata;
}

} // namespace

void KeyPicture(const uint8_t* image, int width, int height, int red, int green, int blue, double tolerance,
                uint8_t* alpha)
{
    KeyAlpha(image, width, height, (red & 0xFF) | (green & 0xFF) << 8 | (blue & 0xFF) << 16, KeyReach(tolerance), alpha);
}

std::string StillResource(const std::string& path, bool sequence)
{
    // (A '?' would end the path there.)
    if (sequence && path.find('?') == std::string::npos)
        return "image2:" + path + "?loop=1";
    return path;
}

std::unique_ptr<Mlt::Producer> OpenSource(mlt_profile profile, const SourceSpec& source)
{
    std::string resource = source.path;
    if (source.still)
        resource = "avformat:" + StillResource(source.path, source.sequence);
    else if (source.speed != 1.0)
        resource = "timewarp:" + Number(source.speed) + ':' + source.path;
    // Pictures, at any speed, pass MLT's normalising filters by: the fit step sizes them,
    // and the engine and MLT's own tools, whose modules differ, then treat them alike.
    auto producer = source.Pictures() ? std::make_unique<Mlt::Producer>(profile, "abnormal", resource.c_str())
                                      : std::make_unique<Mlt::Producer>(profile, resource.c_str());
    if (!producer->is_valid())
        return nullptr;
    if (source.Pictures()) {
        Mlt::Filter convert(profile, "avcolor_space");
        if (convert.is_valid())
            producer->attach(convert);
    }
    if (source.frames > 0) {
        producer->set("length", source.frames);
        producer->set("out", source.frames - 1);
    }
    if (source.speed == 1.0) {
        producer->set(source.Pictures() ? "video_index" : "audio_index", source.containerIndex);
        producer->set(source.Pictures() ? "audio_index" : "video_index", -1);
    }
    return producer;
}

std::vector<std::pair<std::string, std::string>> TrackProperties(const TrackSpec& track)
{
    std::vector<std::pair<std::string, std::string>> properties;
    properties.emplace_back("sources", Number(static_cast<int64_t>(track.sources.size())));
    for (size_t i = 0; i < track.sources.size(); ++i) {
        const SourceSpec& source = track.sources[i];
        const std::string name = "source." + std::to_string(i);
        properties.emplace_back(name, source.path);
        properties.emplace_back(name + ".form", std::string(RoleWord(source.role)) + ' '
                                                     + Number(static_cast<int64_t>(source.containerIndex)) + ' '
                                                     + Number(source.speed) + ' ' + (source.still ? '1' : '0') + ' '
                                                     + (source.sequence ? '1' : '0') + ' '
                                                     + Number(static_cast<int64_t>(source.frames)));
    }
    std::string pieces;
    pieces.reserve(track.pieces.size() * 32);
    for (const TrackPiece& p : track.pieces) {
        if (!pieces.empty())
            pieces += ';';
        for (int64_t value : {int64_t{p.first}, int64_t{p.length}, int64_t{p.source}, int64_t{p.in},
                              int64_t{p.fitMode}, int64_t{p.keyed}, int64_t{p.keyRed}, int64_t{p.keyGreen},
                              int64_t{p.keyBlue}}) {
            pieces += Number(value);
            pieces += ' ';
        }
        pieces += Number(p.keyTolerance);
    }
    properties.emplace_back("pieces", pieces);
    return properties;
}

bool TrackFromProperties(mlt_properties properties, TrackSpec& track)
{
    track = TrackSpec();
    track.frames = std::max(1, mlt_properties_get_int(properties, "length"));
    const int sources = mlt_properties_get_int(properties, "sources");
    if (sources < 0 || sources > 1 << 20)
        return false;
    for (int i = 0; i < sources; ++i) {
        const std::string name = "source." + std::to_string(i);
        const char* path = mlt_properties_get(properties, name.c_str());
        const char* form = mlt_properties_get(properties, (name + ".form").c_str());
        if (!path || !form)
            return false;
        SourceSpec source;
        source.path = path;
        const char* at = form;
        const char* end = form + std::strlen(form);
        while (at < end && *at == ' ')
            ++at;
        const char* word = at;
        while (at < end && *at != ' ')
            ++at;
        const std::string role(word, at);
        source.role = role == "sound" ? SourceSpec::Role::Sound
                      : role == "overlay" ? SourceSpec::Role::Overlay
                                          : SourceSpec::Role::Video;
        int still = 0, sequence = 0;
        if (!Next(at, end, source.containerIndex) || !Next(at, end, source.speed) || !Next(at, end, still)
            || !Next(at, end, sequence) || !Next(at, end, source.frames) || !(source.speed > 0.0) || source.frames < 0)
            return false;
        source.still = still != 0;
        source.sequence = sequence != 0;
        track.sources.push_back(std::move(source));
    }
    const char* text = mlt_properties_get(properties, "pieces");
    const char* at = text ? text : "";
    const char* end = at + std::strlen(at);
    while (at < end) {
        TrackPiece p;
        int keyed = 0;
        if (!Next(at, end, p.first) || !Next(at, end, p.length) || !Next(at, end, p.source) || !Next(at, end, p.in)
            || !Next(at, end, p.fitMode) || !Next(at, end, keyed) || !Next(at, end, p.keyRed)
            || !Next(at, end, p.keyGreen) || !Next(at, end, p.keyBlue) || !Next(at, end, p.keyTolerance))
            return false;
        p.keyed = keyed != 0;
        track.pieces.push_back(p);
        while (at < end && (*at == ' ' || *at == '\n'))
            ++at;
        if (at < end && *at++ != ';')
            return false;
    }
    return true;
}

std::unique_ptr<Mlt::Producer> MakeTrack(Mlt::Profile& profile, const TrackSpec& spec,
                                         const std::vector<Mlt::Producer*>& producers)
{
    auto producer = std::make_unique<Mlt::Producer>(profile, TrackProducer, "track");
    if (!producer->is_valid())
        return nullptr;
    // The track keeps its own reference to each producer.
    std::vector<mlt_producer> held;
    held.reserve(spec.sources.size());
    for (size_t i = 0; i < spec.sources.size(); ++i) {
        mlt_producer raw = i < producers.size() && producers[i] ? producers[i]->get_producer() : nullptr;
        if (raw)
            mlt_properties_inc_ref(MLT_PRODUCER_PROPERTIES(raw));
        held.push_back(raw);
    }
    mlt_properties properties = MLT_PRODUCER_PROPERTIES(producer->get_producer());
    mlt_properties_set_data(properties, "_track", new Track(spec, std::move(held)), 0, DropTrack, nullptr);
    const int32_t frames = std::max(1, spec.frames);
    producer->set("length", frames);
    producer->set("in", 0);
    producer->set("out", frames - 1);
    return producer;
}

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

void Register(mlt_repository repository)
{
    mlt_repository_register(repository, mlt_service_producer_type, TrackProducer, CreateTrack);
    mlt_repository_register(repository, mlt_service_producer_type, BlackProducer, CreateBlack);
    mlt_repository_register(repository, mlt_service_transition_type, OverTransition, CreateOver);
    mlt_repository_register(repository, mlt_service_filter_type, EffectsFilter, CreateEffects);
    mlt_repository_register(repository, mlt_service_filter_type, PixelateFilter, CreatePixelate);
    for (const char* id : {TrackProducer, BlackProducer})
        mlt_repository_register_metadata(repository, mlt_service_producer_type, id, Metadata, nullptr);
    mlt_repository_register_metadata(repository, mlt_service_transition_type, OverTransition, Metadata, nullptr);
    for (const char* id : {EffectsFilter, PixelateFilter})
        mlt_repository_register_metadata(repository, mlt_service_filter_type, id, Metadata, nullptr);
}

} // namespace Tarnwick::MltServices
