#include "ts/generator.h"

#include <bitstream/mpeg/psi.h>

#include <algorithm>
#include <random>

#include "ts/ts_packet.h"

namespace mcgate::host {

namespace {

constexpr std::uint16_t kPmtPid = 0x100;
constexpr std::uint16_t kVideoPid = 0x101;
constexpr std::uint16_t kProgram = 1;
constexpr std::uint8_t kMpeg2Video = 0x02;

/// Lays sections and payload into packets; keeps the counters.
class Multiplexer {
public:
    explicit Multiplexer(std::uint64_t seed) : random_(seed) {}

    TsPacket association() {
        TsPacket packet = table(0, patCounter_);
        std::uint8_t* section = ts_section(packet.data());
        pat_init(section);
        pat_set_length(section, static_cast<std::uint16_t>(PAT_PROGRAM_SIZE));
        pat_set_tsid(section, 1);
        finishHeader(section);
        std::uint8_t* program = pat_get_program(section, 0);
        patn_init(program);
        patn_set_program(program, kProgram);
        patn_set_pid(program, kPmtPid);
        psi_set_crc(section);
        return packet;
    }
    TsPacket map() {
        TsPacket packet = table(kPmtPid, pmtCounter_);
        std::uint8_t* section = ts_section(packet.data());
        pmt_init(section);
        pmt_set_length(section, static_cast<std::uint16_t>(PMT_ES_SIZE));
        pmt_set_program(section, kProgram);
        pmt_set_pcrpid(section, kVideoPid);
        pmt_set_desclength(section, 0);
        finishHeader(section);
        std::uint8_t* stream = pmt_get_es(section, 0);
        pmtn_init(stream);
        pmtn_set_streamtype(stream, kMpeg2Video);
        pmtn_set_pid(stream, kVideoPid);
        pmtn_set_desclength(stream, 0);
        psi_set_crc(section);
        return packet;
    }
    TsPacket video(const std::uint64_t* pcr) {
        TsPacket packet;
        std::generate(packet.begin(), packet.end(), [this] { return static_cast<std::uint8_t>(random_()); });
        begin(packet, kVideoPid, videoCounter_);
        if (pcr == nullptr) return packet;
        ts_set_adaptation(packet.data(), 7);
        packet[5] = 0;
        tsaf_set_pcr(packet.data(), *pcr / 300);
        tsaf_set_pcrext(packet.data(), static_cast<std::uint16_t>(*pcr % 300));
        return packet;
    }

private:
    static void begin(TsPacket& packet, std::uint16_t pid, std::uint8_t& counter) {
        ts_init(packet.data());
        ts_set_pid(packet.data(), pid);
        ts_set_cc(packet.data(), counter);
        ts_set_payload(packet.data());
        counter = static_cast<std::uint8_t>((counter + 1) & 0xF);
    }
    static TsPacket table(std::uint16_t pid, std::uint8_t& counter) {
        TsPacket packet;
        packet.fill(0xFF);
        begin(packet, pid, counter);
        ts_set_unitstart(packet.data());
        packet[4] = 0;  // the section begins at once
        return packet;
    }
    static void finishHeader(std::uint8_t* section) {
        psi_set_version(section, 0);
        psi_set_current(section);
        psi_set_section(section, 0);
        psi_set_lastsection(section, 0);
    }

    std::mt19937_64 random_;
    std::uint8_t patCounter_ = 0;
    std::uint8_t pmtCounter_ = 0;
    std::uint8_t videoCounter_ = 0;
};

}  // namespace

void generateTransportStream(const GeneratorOptions& options,
                             const std::function<void(const std::uint8_t*, std::size_t)>& write) {
    const double perSecond = static_cast<double>(options.rate) / (8.0 * kPacketSize);
    const auto total = static_cast<std::uint64_t>(perSecond * options.seconds);
    const auto pcrEvery = std::max<std::uint64_t>(1, static_cast<std::uint64_t>(perSecond / 50));
    const auto tablesEvery = std::max<std::uint64_t>(20, static_cast<std::uint64_t>(perSecond / 10));
    Multiplexer multiplexer(options.seed);
    const TsPacket padding = nullPacket();
    std::uint64_t nextPcr = 0;
    for (std::uint64_t i = 0; i < total; ++i) {
        TsPacket packet = padding;
        if (i % tablesEvery == 0) {
            packet = multiplexer.association();
        } else if (i % tablesEvery == 1) {
            packet = multiplexer.map();
        } else if (i >= nextPcr) {
            const auto pcr =
                static_cast<std::uint64_t>(static_cast<double>(i) * static_cast<double>(kPcrFrequency) / perSecond);
            packet = multiplexer.video(&pcr);
            nextPcr = i + pcrEvery;
        } else if (i % 10 != 9) {
            packet = multiplexer.video(nullptr);
        }
        write(packet.data(), packet.size());
    }
}

}  // namespace mcgate::host
