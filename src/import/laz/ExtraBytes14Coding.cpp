// Extra bytes of point formats 6 to 10 (item version 3): each byte its own layer, coded as its
// change from the last point's value, with models per scanner channel.
#include <array>
#include <vector>

#include "import/laz/ArithmeticDecoder.h"
#include "import/laz/ArithmeticEncoder.h"
#include "import/laz/LayeredItems.h"

namespace ovcf::laz {
namespace {

// Last bytes and models per channel; a channel seen for the first time starts from the bytes
// of the one before and from fresh models.
struct ExtraBytesChannels {
    explicit ExtraBytesChannels(std::size_t count) : count(count) {}

    void begin(const std::uint8_t* raw, unsigned channel) {
        for (auto& m : models) m.clear();
        last[channel].assign(raw, raw + count);
        models[channel].assign(count, SymbolModel(256));
        lastChannel = channel;
    }
    // The bytes to predict from and the models to code with for a point of `channel`.
    std::vector<std::uint8_t>& follow(unsigned channel) {
        unsigned from = lastChannel;
        if (channel != lastChannel) {
            lastChannel = channel;
            if (models[channel].empty()) {
                models[channel].assign(count, SymbolModel(256));
                last[channel] = last[from];
                from = channel;
            }
        }
        return last[from];
    }

    std::size_t count;
    unsigned lastChannel = 0;
    std::array<std::vector<std::uint8_t>, 4> last;
    std::array<std::vector<SymbolModel>, 4> models;
};

class ExtraBytes14Decoder final : public LayeredItemDecoder {
public:
    explicit ExtraBytes14Decoder(std::size_t count) : channels_(count), decoders_(count), present_(count) {}
    std::size_t layerCount() const override { return channels_.count; }
    void first(const std::uint8_t* raw, unsigned& context) override { channels_.begin(raw, context); }
    void attach(const Layer* layers, unsigned fields) override {
        for (std::size_t i = 0; i < channels_.count; ++i) {
            present_[i] = layers[i].size > 0 && (fields & kFieldExtraBytes);
            if (present_[i]) decoders_[i].start(layers[i].bytes, layers[i].size);
        }
    }
    void decode(std::uint8_t* out, unsigned& context) override {
        std::vector<std::uint8_t>& last = channels_.follow(context);
        std::vector<SymbolModel>& models = channels_.models[channels_.lastChannel];
        for (std::size_t i = 0; i < channels_.count; ++i) {
            if (present_[i]) last[i] = static_cast<std::uint8_t>(last[i] + decoders_[i].decodeSymbol(models[i]));
            out[i] = last[i];
        }
    }

private:
    ExtraBytesChannels channels_;
    std::vector<ArithmeticDecoder> decoders_;
    std::vector<char> present_;
};

class ExtraBytes14Encoder final : public LayeredItemEncoder {
public:
    explicit ExtraBytes14Encoder(std::size_t count) : channels_(count), encoders_(count), changed_(count) {}
    void first(const std::uint8_t* raw, unsigned& context) override { channels_.begin(raw, context); }
    void encode(const std::uint8_t* raw, unsigned& context) override {
        std::vector<std::uint8_t>& last = channels_.follow(context);
        std::vector<SymbolModel>& models = channels_.models[channels_.lastChannel];
        for (std::size_t i = 0; i < channels_.count; ++i) {
            const std::uint8_t diff = static_cast<std::uint8_t>(raw[i] - last[i]);
            encoders_[i].encodeSymbol(models[i], diff);
            if (diff != 0) changed_[i] = 1;
            last[i] = raw[i];
        }
    }
    void finish(std::vector<std::vector<std::uint8_t>>& layers) override {
        for (std::size_t i = 0; i < channels_.count; ++i) {
            if (changed_[i]) {
                encoders_[i].done();
                layers.push_back(encoders_[i].bytes());
            } else {
                layers.emplace_back();
            }
        }
    }

private:
    ExtraBytesChannels channels_;
    std::vector<ArithmeticEncoder> encoders_;
    std::vector<char> changed_;
};

}  // namespace

std::unique_ptr<LayeredItemDecoder> makeExtraBytes14Decoder(std::size_t count) {
    return std::make_unique<ExtraBytes14Decoder>(count);
}
std::unique_ptr<LayeredItemEncoder> makeExtraBytes14Encoder(std::size_t count) {
    return std::make_unique<ExtraBytes14Encoder>(count);
}

}  // namespace ovcf::laz
