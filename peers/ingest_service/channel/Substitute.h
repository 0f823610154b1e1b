#pragma once

namespace tarn::peers::ingest_service {

/// What a channel offers while its device gives it nothing.
enum class Substitute {
    Bars,  ///< the test picture
    Black,
    Freeze,   ///< the last frame that came; black when none did
    Nothing,  ///< readers wait
};

}  // namespace tarn::peers::ingest_service
