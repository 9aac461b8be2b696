#include "convert/export.h"

#include "convert/gsmtap_frames.h"
#include "convert/hdlc_export.h"
#include "convert/pcapng_frames.h"
#include "convert/row_export.h"
#include "convert/signalling_export.h"

namespace corvane {

std::unique_ptr<cItemExport> MakeExport(eExportFormat format, const sExportOptions& options,
                                        cByteSink& sink) {
  switch (format) {
    case eExportFormat::Hdlc:
      return std::make_unique<cHdlcExport>(options, sink);
    case eExportFormat::Jsonl:
      return std::make_unique<cRowExport>(eRowFormat::JsonLines, options, sink);
    case eExportFormat::Csv:
      return std::make_unique<cRowExport>(eRowFormat::Csv, options, sink);
    case eExportFormat::Separated:
      return std::make_unique<cRowExport>(eRowFormat::Separated, options, sink);
    case eExportFormat::Gsmtap:
      return std::make_unique<cSignallingExport>(options, std::make_unique<cGsmtapFrames>(sink));
    case eExportFormat::Pcapng:
      break;
  }
  return std::make_unique<cSignallingExport>(
      options, std::make_unique<cPcapngFrames>(sink, options.application, options.captureName));
}

}  // namespace corvane
