#include "protocol/LogosType.h"

#include <algorithm>

#include "support/Log.h"

void LogosType::CalcNumMaxLogo() {
    const char* const tag = "CalcNumMaxLogo";
    iNumMaxLogo = 0;
    for (const LogosInfo& kind : listLogosInfo) {
        if (kind.iMaxCount == 0) {
            iNumMaxLogo = INFINITE;
            Log::WriteLog(tag, "NumMaxLogo = INFINITE");
            return;
        }
        iNumMaxLogo = std::max(iNumMaxLogo, kind.iMaxCount);
    }
    Log::WriteLogP(tag, "NumMaxLogo = %d", iNumMaxLogo);
}
