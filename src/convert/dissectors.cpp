#include "convert/dissectors.h"

#include <array>
#include <cstddef>

#include "describe/signalling_log.h"

namespace corvane {
namespace {

// The SIB types of 3GPP TS 25.331 in their order, 31 (extension) left out: its real type is not in
// the block.
constexpr std::array<std::string_view, 31> kBlockDissectors{
    "rrc.si.mib",     "rrc.si.sib1",    "rrc.si.sib2",    "rrc.si.sib3",  "rrc.si.sib4",
    "rrc.si.sib5",    "rrc.si.sib6",    "rrc.si.sib7",    "rrc.si.sib8",  "rrc.si.sib9",
    "rrc.si.sib10",   "rrc.si.sib11",   "rrc.si.sib12",   "rrc.si.sib13", "rrc.si.sib13-1",
    "rrc.si.sib13-2", "rrc.si.sib13-3", "rrc.si.sib13-4", "rrc.si.sib14", "rrc.si.sib15",
    "rrc.si.sib15-1", "rrc.si.sib15-2", "rrc.si.sib15-3", "rrc.si.sib16", "rrc.si.sib17",
    "rrc.si.sib15-4", "rrc.si.sib18",   "rrc.si.sb1",     "rrc.si.sb2",   "rrc.si.sib15-5",
    "rrc.si.sib5bis"};
// Their GSMTAP sub-types.
constexpr std::array<std::uint8_t, 31> kBlockSubtypes{16, 17, 18, 19, 20, 21, 23, 24, 25, 26, 27,
                                                      28, 30, 31, 32, 33, 34, 35, 36, 37, 39, 41,
                                                      44, 51, 52, 46, 53, 58, 59, 47, 22};

// Those of extension blocks.
constexpr std::uint8_t kSib11bisSubtype = 29;
constexpr std::uint8_t kSib19Subtype = 54;

constexpr std::string_view kWcdmaRrc = "WCDMA RRC";
constexpr std::string_view kNrRrc = "NR RRC";
constexpr std::string_view kRlcMac = "GSM RLC/MAC";

// How a syntax is shown.
struct sSyntaxCarrier {
  eSyntax syntax;
  sDissector dissector;
  std::optional<sGsmtapType> gsmtap;
};

// GSMTAP types.
constexpr std::uint8_t kAbis = 2;
constexpr std::uint8_t kUmtsRrc = 12;
constexpr std::uint8_t kLteRrc = 13;
constexpr std::uint8_t kLteNas = 18;

// Sub-types of the first.
constexpr std::uint8_t kRach = 3;
constexpr std::uint8_t kPacch = 11;

using Gsmtap = sGsmtapType;

constexpr std::array kCarriers{
    sSyntaxCarrier{eSyntax::GsmLayer3, {"gsm_a_dtap", "GSM L3"}, Gsmtap{kAbis, 0}},
    sSyntaxCarrier{eSyntax::GsmPseudoLength, {"gsm_a_ccch", "GSM RR"}, Gsmtap{kGsmtapUm, 2}},
    sSyntaxCarrier{
        eSyntax::GsmAccessBurst, {kBytesDissector, "GSM RACH"}, Gsmtap{kGsmtapUm, kRach}},
    sSyntaxCarrier{
        eSyntax::GprsRlcMacDownlink, {"gsm_rlcmac_dl", kRlcMac}, Gsmtap{kGsmtapUm, kPacch}},
    sSyntaxCarrier{
        eSyntax::GprsRlcMacUplink, {"gsm_rlcmac_ul", kRlcMac}, Gsmtap{kGsmtapUm, kPacch}},

    sSyntaxCarrier{eSyntax::WcdmaUlCcch, {"rrc.ul.ccch", kWcdmaRrc}, Gsmtap{kUmtsRrc, 3}},
    sSyntaxCarrier{eSyntax::WcdmaUlDcch, {"rrc.ul.dcch", kWcdmaRrc}, Gsmtap{kUmtsRrc, 1}},
    sSyntaxCarrier{eSyntax::WcdmaDlCcch, {"rrc.dl.ccch", kWcdmaRrc}, Gsmtap{kUmtsRrc, 2}},
    sSyntaxCarrier{eSyntax::WcdmaDlDcch, {"rrc.dl.dcch", kWcdmaRrc}, Gsmtap{kUmtsRrc, 0}},
    sSyntaxCarrier{eSyntax::WcdmaBcchBch, {"rrc.bcch.bch", kWcdmaRrc}, Gsmtap{kUmtsRrc, 8}},
    sSyntaxCarrier{eSyntax::WcdmaBcchFach, {"rrc.bcch.fach", kWcdmaRrc}, Gsmtap{kUmtsRrc, 7}},
    sSyntaxCarrier{eSyntax::WcdmaPcch, {"rrc.pcch", kWcdmaRrc}, Gsmtap{kUmtsRrc, 4}},
    sSyntaxCarrier{eSyntax::WcdmaMcch, {"rrc.mcch", kWcdmaRrc}, Gsmtap{kUmtsRrc, 9}},
    sSyntaxCarrier{eSyntax::WcdmaMsch, {"rrc.msch", kWcdmaRrc}, Gsmtap{kUmtsRrc, 10}},
    sSyntaxCarrier{eSyntax::WcdmaSystemInformationContainer,
                   {"rrc.sysinfo.cont", kWcdmaRrc},
                   Gsmtap{kUmtsRrc, 14}},

    sSyntaxCarrier{eSyntax::LteBcchBch, {"lte_rrc.bcch_bch", {}}, Gsmtap{kLteRrc, 4}},
    sSyntaxCarrier{eSyntax::LteBcchDlSch, {"lte_rrc.bcch_dl_sch", {}}, Gsmtap{kLteRrc, 5}},
    sSyntaxCarrier{eSyntax::LteMcch, {"lte_rrc.mcch", {}}, Gsmtap{kLteRrc, 7}},
    sSyntaxCarrier{eSyntax::LtePcch, {"lte_rrc.pcch", {}}, Gsmtap{kLteRrc, 6}},
    sSyntaxCarrier{eSyntax::LteDlCcch, {"lte_rrc.dl_ccch", {}}, Gsmtap{kLteRrc, 0}},
    sSyntaxCarrier{eSyntax::LteDlDcch, {"lte_rrc.dl_dcch", {}}, Gsmtap{kLteRrc, 1}},
    sSyntaxCarrier{eSyntax::LteUlCcch, {"lte_rrc.ul_ccch", {}}, Gsmtap{kLteRrc, 2}},
    sSyntaxCarrier{eSyntax::LteUlDcch, {"lte_rrc.ul_dcch", {}}, Gsmtap{kLteRrc, 3}},
    sSyntaxCarrier{eSyntax::LteNbBcchBch, {"lte_rrc.bcch_bch.nb", {}}, Gsmtap{kLteRrc, 18}},
    sSyntaxCarrier{eSyntax::LteNbBcchDlSch, {"lte_rrc.bcch_dl_sch.nb", {}}, Gsmtap{kLteRrc, 20}},
    sSyntaxCarrier{eSyntax::LteNbPcch, {"lte_rrc.pcch.nb", {}}, Gsmtap{kLteRrc, 21}},
    sSyntaxCarrier{eSyntax::LteNbDlCcch, {"lte_rrc.dl_ccch.nb", {}}, Gsmtap{kLteRrc, 14}},
    sSyntaxCarrier{eSyntax::LteNbDlDcch, {"lte_rrc.dl_dcch.nb", {}}, Gsmtap{kLteRrc, 15}},
    sSyntaxCarrier{eSyntax::LteNbUlCcch, {"lte_rrc.ul_ccch.nb", {}}, Gsmtap{kLteRrc, 16}},
    sSyntaxCarrier{eSyntax::LteNbUlDcch, {"lte_rrc.ul_dcch.nb", {}}, Gsmtap{kLteRrc, 17}},
    sSyntaxCarrier{eSyntax::LteNasPlain, {"nas-eps_plain", {}}, Gsmtap{kLteNas, 0}},
    sSyntaxCarrier{eSyntax::LteNas, {"nas-eps", {}}, Gsmtap{kLteNas, 1}},

    sSyntaxCarrier{eSyntax::NrBcchBch, {"nr-rrc.bcch.bch", kNrRrc}, {}},
    sSyntaxCarrier{eSyntax::NrBcchDlSch, {"nr-rrc.bcch.dl.sch", kNrRrc}, {}},
    sSyntaxCarrier{eSyntax::NrDlCcch, {"nr-rrc.dl.ccch", kNrRrc}, {}},
    sSyntaxCarrier{eSyntax::NrDlDcch, {"nr-rrc.dl.dcch", kNrRrc}, {}},
    sSyntaxCarrier{eSyntax::NrMcch, {"nr-rrc.mcch", kNrRrc}, {}},
    sSyntaxCarrier{eSyntax::NrPcch, {"nr-rrc.pcch", kNrRrc}, {}},
    sSyntaxCarrier{eSyntax::NrUlCcch, {"nr-rrc.ul.ccch", kNrRrc}, {}},
    sSyntaxCarrier{eSyntax::NrUlCcch1, {"nr-rrc.ul.ccch1", kNrRrc}, {}},
    sSyntaxCarrier{eSyntax::NrUlDcch, {"nr-rrc.ul.dcch", kNrRrc}, {}},
    sSyntaxCarrier{eSyntax::NrReconfiguration, {"nr-rrc.rrc_reconf", kNrRrc}, {}},
    sSyntaxCarrier{eSyntax::NrRadioBearerConfig, {"nr-rrc.radiobearerconfig", kNrRrc}, {}},
    sSyntaxCarrier{eSyntax::NrMrdcCapability, {"nr-rrc.ue_mrdc_cap", kNrRrc}, {}},
    sSyntaxCarrier{eSyntax::NrCapability, {"nr-rrc.ue_nr_cap", kNrRrc}, {}},
    sSyntaxCarrier{eSyntax::NrNas, {"nas-5gs", {}}, {}},
    sSyntaxCarrier{eSyntax::Ip, {"ip", {}}, {}},
    sSyntaxCarrier{eSyntax::Sip, {"sip", {}}, {}},
};

// Null for whole blocks of system information, whose type decides.
[[nodiscard]] const sSyntaxCarrier* FindCarrier(eSyntax syntax) {
  return FindRow(kCarriers,
                 [syntax](const sSyntaxCarrier& carrier) { return carrier.syntax == syntax; });
}

[[nodiscard]] std::optional<sDissector> BlockDissector(std::uint8_t sibType) {
  if (sibType < kBlockDissectors.size()) {
    return sDissector{kBlockDissectors[sibType], kWcdmaRrc};
  }
  if (sibType == kSib11bis) {
    return sDissector{"rrc.si.sib11bis", kWcdmaRrc};
  }
  if (sibType == kSib19) {
    return sDissector{"rrc.si.sib19", kWcdmaRrc};
  }
  return std::nullopt;
}

[[nodiscard]] std::optional<std::uint8_t> BlockSubtype(std::uint8_t sibType) {
  if (sibType < kBlockSubtypes.size()) {
    return kBlockSubtypes[sibType];
  }
  if (sibType == kSib11bis) {
    return kSib11bisSubtype;
  }
  if (sibType == kSib19) {
    return kSib19Subtype;
  }
  return std::nullopt;
}

}  // namespace

std::optional<sDissector> DissectorOf(const sSignalling& signalling, eTechnology technology) {
  const sSyntaxCarrier* const carrier = FindCarrier(signalling.syntax);
  if (carrier == nullptr) {
    return signalling.sibType ? BlockDissector(*signalling.sibType) : std::nullopt;
  }
  sDissector dissector = carrier->dissector;
  if (signalling.syntax == eSyntax::GsmLayer3 && technology == eTechnology::Wcdma) {
    dissector.protocol = "WCDMA NAS";
  }
  return dissector;
}

std::optional<sGsmtapType> GsmtapTypeOf(const sSignalling& signalling) {
  if (const sSyntaxCarrier* const carrier = FindCarrier(signalling.syntax)) {
    return carrier->gsmtap;
  }
  if (!signalling.sibType) {
    return std::nullopt;
  }
  const std::optional<std::uint8_t> subtype = BlockSubtype(*signalling.sibType);
  return subtype ? std::optional(sGsmtapType{kUmtsRrc, *subtype}) : std::nullopt;
}

}  // namespace corvane
