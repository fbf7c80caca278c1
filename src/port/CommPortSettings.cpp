#include "port/CommPortSettings.h"

bool CommPortSettings::IsValid() {
    switch (type) {
        case COMMPORT_SERIAL:
            bValid = szSerDevice[0] != '\0';
            break;
        case COMMPORT_ETHERNET:
            bValid = szEthAddress[0] != '\0';
            break;
        case COMMPORT_USB:
        case COMMPORT_USB_TOO:
            bValid = szUsbDevice[0] != '\0';
            break;
        default:
            bValid = false;
            break;
    }
    return bValid;
}
