// The station's frames: however the bytes are cut into pieces, the frames and the noise between them are found.
#include <vector>

#include "apps/station/line/Frame.h"
#include "fuzz/Fuzz.h"

namespace {

using Station::Bytes;

constexpr std::size_t FRAME = 31;

/// Bytes of the line, and the pieces in which they arrive.
std::vector<Bytes> Pieces(FuzzedDataProvider& input, unsigned char type, unsigned char command)
{
    std::vector<Bytes> pieces;
    while (input.remaining_bytes() > 0) {
        Bytes piece = input.ConsumeBytes<unsigned char>(input.ConsumeIntegralInRange<std::size_t>(0, 40));
        const int kind = input.ConsumeIntegralInRange(0, 3);
        if (kind > 0) {
            piece.resize(26);
            piece = Station::MakeFrame(type, command, piece);
        }
        if (kind > 1) {  // damaged
            piece[input.ConsumeIntegralInRange<std::size_t>(0, FRAME - 1)] ^= input.ConsumeIntegral<unsigned char>();
        }
        if (kind > 2) {
            piece.resize(input.ConsumeIntegralInRange<std::size_t>(0, FRAME));
        }
        const auto cut = static_cast<std::ptrdiff_t>(input.ConsumeIntegralInRange<std::size_t>(0, piece.size()));
        pieces.emplace_back(piece.begin(), piece.begin() + cut);
        pieces.emplace_back(piece.begin() + cut, piece.end());
    }
    return pieces;
}

/// All that the scanner has to find in the whole of the bytes.
struct Found {
    std::vector<Bytes> frames;
    Bytes noise;
    Bytes rest;  // may be the beginning of a frame
    bool isDamaged = false;
};

Found Find(const Bytes& all, unsigned char type, unsigned char command)
{
    Found found;
    std::size_t at = 0;
    const auto is = [&](std::size_t offset, unsigned char value) {
        return at + offset < all.size() && all[at + offset] == value;
    };
    while (at < all.size()) {
        unsigned char sum = 0;
        for (std::size_t i = at; i < at + FRAME - 1 && i < all.size(); ++i) {
            sum ^= all[i];
        }
        if (is(0, 0x5A) && is(FRAME - 1, 0x03) && sum == 0) {
            found.frames.emplace_back(all.begin() + static_cast<std::ptrdiff_t>(at),
                                      all.begin() + static_cast<std::ptrdiff_t>(at + FRAME));
            at += FRAME;
        } else {
            const int known = is(0, 0x5A) + is(1, type) + (is(2, command) || is(2, 255)) + is(FRAME - 1, 0x03);
            found.isDamaged = found.isDamaged || known >= 3;
            (at + FRAME <= all.size() ? found.noise : found.rest).push_back(all[at]);
            ++at;
        }
    }
    return found;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    FuzzedDataProvider input(data, size);
    const auto type = input.ConsumeIntegral<unsigned char>();
    const auto command = input.ConsumeIntegral<unsigned char>();
    Station::FrameScanner scanner(type, command);
    std::vector<Bytes> frames;
    Bytes all;
    for (const Bytes& piece : Pieces(input, type, command)) {
        scanner.Add(piece);
        all.insert(all.end(), piece.begin(), piece.end());
        while (const auto frame = scanner.Next()) {
            frames.push_back(*frame);
        }
    }
    const Found expected = Find(all, type, command);
    Fuzz::Expect(frames == expected.frames, "these frames");
    Fuzz::Expect(scanner.SawDamagedReply() == expected.isDamaged, "damage told as it is");
    Fuzz::Expect(scanner.NoiseSize() == expected.noise.size(), "so much noise");
    Fuzz::Expect(scanner.TakeNoise() == expected.noise, "this noise");
    Fuzz::Expect(scanner.TakeRest() == expected.rest, "this rest");
    return 0;
}
