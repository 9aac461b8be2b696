#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>

#include "capture/isf/layout.h"
#include "reader/block_chain.h"
#include "reader/block_index.h"
#include "rewrite/block_recovery.h"
#include "rewrite/part_source.h"
#include "rewrite/recovery.h"

namespace corvane {

// Where a part of a file stands that is recovered by itself.
struct sPartPlace {
  std::uint64_t origin = 0;      // the file position from which the part's own positions count
  std::uint64_t firstBlock = 0;  // its first block, counted from there
  std::uint64_t end = 0;         // file position behind it
  std::uint64_t fileEnd = 0;
  bool isFollowed = false;  // a block of the same capture stands at the end
};

// The items of one capture, or of what of it lies between two places where its chain breaks.
class cPartRecovery {
 public:
  // `source`, `taker` and `result` are not owned and must outlive it. What is found out is added to
  // `result`.
  cPartRecovery(cByteSource& source, const sPartPlace& place, const RecoveredItemTaker& taker,
                sRecoveryReport& result);

  // Hands over its items. False when the taker had enough.
  [[nodiscard]] bool Recover();

  // The file position of the block with which another part begins: one that proves itself, while a
  // block of the chain does not, or one behind the chain. Nothing when there is none, or the chain
  // ends where the file is closed.
  [[nodiscard]] std::optional<std::uint64_t> FindNextPart();

 private:
  [[nodiscard]] std::uint64_t ProvenEnd(std::size_t number);
  [[nodiscard]] bool IsBlockOfChain(std::uint64_t offset) const;
  [[nodiscard]] bool IsNextDisplaced();
  [[nodiscard]] bool IsLinkPossible();
  void FindOwnIndex();
  [[nodiscard]] bool IsOfLastBlock(cBlockIndex& found);
  [[nodiscard]] std::optional<std::uint64_t> IndexedTime(const sCaptureBlock& block);
  [[nodiscard]] bool RecoverOne(std::size_t number);
  void Surround(std::size_t number, sBlockToRecover& wanted);
  [[nodiscard]] std::optional<std::uint64_t> ChooseTime(
      std::size_t number, const isf::sBlockTail& tail, const sBlockToRecover& wanted,
      std::span<const std::uint8_t, isf::kDirectorySize> directory);
  [[nodiscard]] bool HandOver(const sRecoveredBlock& found, std::uint64_t baseTime);
  [[nodiscard]] bool IsUnfinished(std::size_t number, const sBlockToRecover& wanted,
                                  const sLostItems& lost);
  [[nodiscard]] sRecoveredBlock RecoverRecords(
      const sBlockToRecover& wanted, std::span<const std::uint8_t, isf::kDirectorySize> directory);
  void LoseBehind(std::size_t number, std::uint64_t end);
  void LoseBlockBehind();
  void LoseBehindTrailer();
  void LoseBlock(const sCaptureBlock& block, const sBlockToRecover& wanted);
  void TellUnfit(const sUnfitRecords& unfit);
  void Lose(const sLostItems& lost);

  cPartSource part;
  cPartSource rest;  // from the part's beginning to the end of the file
  const std::uint64_t origin;
  const std::uint64_t size;
  const bool isWhole;  // the numbers of its items are known
  const bool isFollowed;
  cBlockChain chain;
  std::optional<cBlockIndex> index;
  std::uint64_t lastLink = 0;    // where its last block says that the next one is
  std::uint64_t recordsEnd = 0;  // behind the last record that was found
  const RecoveredItemTaker& take;
  sRecoveryReport& report;
};

}  // namespace corvane
