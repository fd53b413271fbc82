// Colour and near infrared of point formats 7 and 8 (item version 3): the pointwise colour
// coding, one layer for colour and one for NIR, with models per scanner channel. As in the
// reference format, a point that moves to a channel already seen keeps predicting from the
// value of the channel it comes from.
#include <array>
#include <memory>

#include "import/laz/LayeredItems.h"
#include "import/laz/RgbCoding.h"
#include "ovcf/ByteOrder.h"

namespace ovcf::laz {
namespace {

template <class Models>
Models& made(std::unique_ptr<Models>& models) {
    if (!models) [[unlikely]]
        models = std::make_unique<Models>();
    return *models;
}

struct NirModels {
    SymbolModel changed{4};
    SymbolModel low{256};
    SymbolModel high{256};
};

// Which channel's last values and models code the next point, following the point item.
struct ChannelState {
    std::array<bool, 4> used{};
    unsigned lastChannel = 0;

    void begin(unsigned channel) {
        used = {};
        used[channel] = true;
        lastChannel = channel;
    }
    // Returns the channel whose last values predict the next point; a channel seen for the
    // first time starts from the values of the one before (copied by `copy(from, to)`).
    template <class Copy>
    unsigned follow(unsigned channel, const Copy& copy) {
        unsigned from = lastChannel;
        if (channel != lastChannel) {
            lastChannel = channel;
            if (!used[channel]) {
                used[channel] = true;
                copy(from, channel);
                from = channel;
            }
        }
        return from;
    }
};

class Rgb14Decoder final : public LayeredItemDecoder {
public:
    explicit Rgb14Decoder(bool withNir) : withNir_(withNir) {}
    std::size_t layerCount() const override { return withNir_ ? 2 : 1; }

    void first(const std::uint8_t* raw, unsigned& context) override {
        state_.begin(context);
        lastRgb_[context] = loadRgb(raw);
        if (withNir_) lastNir_[context] = le::u16(raw + 6);
    }

    void attach(const Layer* layers, unsigned fields) override {
        rgbPresent_ = layers[0].size > 0 && (fields & kFieldRgb);
        if (rgbPresent_) rgb_.start(layers[0].bytes, layers[0].size);
        if (withNir_) {
            nirPresent_ = layers[1].size > 0 && (fields & kFieldNir);
            if (nirPresent_) nir_.start(layers[1].bytes, layers[1].size);
        }
    }

    void decode(std::uint8_t* out, unsigned& context) override {
        const unsigned from = state_.follow(context, [this](unsigned a, unsigned b) {
            lastRgb_[b] = lastRgb_[a];
            lastNir_[b] = lastNir_[a];
        });
        Rgb& rgb = lastRgb_[from];
        if (rgbPresent_) decodeRgb(rgb_, made(rgbModels_[state_.lastChannel]), rgb);
        storeRgb(rgb, out);
        if (!withNir_) return;
        std::uint16_t& nir = lastNir_[from];
        if (nirPresent_) {
            NirModels& models = made(nirModels_[state_.lastChannel]);
            const std::uint32_t mask = nir_.decodeSymbol(models.changed);
            std::uint16_t value = nir;
            if (mask & 1) value = static_cast<std::uint16_t>((value & 0xFF00) | ((nir_.decodeSymbol(models.low) + value) & 0xFF));
            if (mask & 2)
                value = static_cast<std::uint16_t>((value & 0x00FF) | (((nir_.decodeSymbol(models.high) + (nir >> 8)) & 0xFF) << 8));
            nir = value;
        }
        le::putU16(out + 6, nir);
    }

private:
    bool withNir_;
    ChannelState state_;
    std::array<Rgb, 4> lastRgb_{};
    std::array<std::uint16_t, 4> lastNir_{};
    // Per channel, made when the channel first comes: most files use one.
    std::array<std::unique_ptr<RgbModels>, 4> rgbModels_;
    std::array<std::unique_ptr<NirModels>, 4> nirModels_;
    ArithmeticDecoder rgb_;
    ArithmeticDecoder nir_;
    bool rgbPresent_ = false;
    bool nirPresent_ = false;
};

class Rgb14Encoder final : public LayeredItemEncoder {
public:
    explicit Rgb14Encoder(bool withNir) : withNir_(withNir) {}

    void first(const std::uint8_t* raw, unsigned& context) override {
        state_.begin(context);
        lastRgb_[context] = loadRgb(raw);
        if (withNir_) lastNir_[context] = le::u16(raw + 6);
    }

    void encode(const std::uint8_t* raw, unsigned& context) override {
        const unsigned from = state_.follow(context, [this](unsigned a, unsigned b) {
            lastRgb_[b] = lastRgb_[a];
            lastNir_[b] = lastNir_[a];
        });
        Rgb& last = lastRgb_[from];
        const Rgb rgb = loadRgb(raw);
        rgbChanged_ |= !(rgb == last);
        encodeRgb(rgb_, rgbModels_[state_.lastChannel], rgb, last);
        last = rgb;
        if (!withNir_) return;
        std::uint16_t& lastNir = lastNir_[from];
        const std::uint16_t nir = le::u16(raw + 6);
        nirChanged_ |= nir != lastNir;
        NirModels& models = nirModels_[state_.lastChannel];
        const std::uint32_t mask = ((nir & 0xFF) != (lastNir & 0xFF) ? 1u : 0u) | ((nir >> 8) != (lastNir >> 8) ? 2u : 0u);
        nir_.encodeSymbol(models.changed, mask);
        if (mask & 1) nir_.encodeSymbol(models.low, static_cast<std::uint32_t>((nir - lastNir) & 0xFF));
        if (mask & 2) nir_.encodeSymbol(models.high, static_cast<std::uint32_t>(((nir >> 8) - (lastNir >> 8)) & 0xFF));
        lastNir = nir;
    }

    void finish(std::vector<std::vector<std::uint8_t>>& layers) override {
        finishLayer(rgb_, rgbChanged_, layers);
        if (withNir_) finishLayer(nir_, nirChanged_, layers);
    }

private:
    static void finishLayer(ArithmeticEncoder& e, bool changed, std::vector<std::vector<std::uint8_t>>& layers) {
        if (changed) {
            e.done();
            layers.push_back(e.bytes());
        } else {
            layers.emplace_back();
        }
    }

    bool withNir_;
    ChannelState state_;
    std::array<Rgb, 4> lastRgb_{};
    std::array<std::uint16_t, 4> lastNir_{};
    std::array<RgbModels, 4> rgbModels_;
    std::array<NirModels, 4> nirModels_;
    ArithmeticEncoder rgb_;
    ArithmeticEncoder nir_;
    bool rgbChanged_ = false;
    bool nirChanged_ = false;
};

}  // namespace

std::unique_ptr<LayeredItemDecoder> makeRgb14Decoder(bool withNir) { return std::make_unique<Rgb14Decoder>(withNir); }
std::unique_ptr<LayeredItemEncoder> makeRgb14Encoder(bool withNir) { return std::make_unique<Rgb14Encoder>(withNir); }

}  // namespace ovcf::laz
