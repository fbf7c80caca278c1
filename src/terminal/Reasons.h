// Each reason: its name; the log or last lines that tell it, each by how it begins in the code; one sentence
// of what happened, one of what to do, and how the printer is left where that does not tell. Texts in braces
// are filled in. Of two that are told in a run the one further down holds. Included with REASON defined.

// Before the first byte, and on the way.
REASON(kUnknownWord, "", "No option takes the word \"{word}\".", "It is ignored.")
REASON(kNoNumber, "", "\"{word}\" after {option} is no number.",
       "-m then waits for nothing, -c sends everything.")
REASON(kOtherPort, "", "\"{device}\" looks like the device of another port than {type}.",
       "It is tried as it is.")
REASON(kUsbTaken, "", "This name opens any of: {list}. The first is taken.",
       "Only the product and the last character of the serial number count: unplug the others.")
REASON(kUsbNoName, "", "{name} does not end in a digit: no name opens this printer over USB.",
       "Use another port.")
REASON(kNeedsUsb, "", "This printer restarts into a boot loader that is only on USB.",
       "Is it connected by USB to this computer, too? Otherwise it will be left in there.")
REASON(kNeverBoot, "", "Over Ethernet this printer cannot be upgraded: it would stay in its boot loader.",
       "End the run with Ctrl-C now and connect the printer by USB.")
REASON(kForeignBoot, "", "Another device of the boot loader's vendor is on USB: {list}.",
       "It may be taken for the boot loader, in which the printer then stays: unplug it.")
REASON(kStalled, "", "The printer has taken no byte for 30 s{held}.", "Check paper, cover, cable; {giveup}.")
REASON(kSwitchOffOn, "Upgrade firmware. Please, restart the printer",
       "The firmware is in the printer, which waits in its boot loader.",
       "Switch the printer off and on NOW; modules follow over the next minute.")
REASON(kLeftOut, "Upgrade FW not enabled|Upgrade Modules not enabled|Upgrade After Modules not enabled",
       "-c {components} kept {left} out.", "Run without -c to send everything.")
// What was named.
REASON(kFileAbsent, "", "There is no file {file}.", "Check the path.", kUntouched)
REASON(kFileEnding, "filename argument not valid", "The ending of {file} is none of .psw, .pfw and .mod.",
       "Write it in lower case, in upper case, or with its first letter in upper case.", kUntouched)
REASON(kFileDirectory, "", "{file} is no regular file.", "Name the package itself.", kUntouched)
REASON(kFileUnreadable, "", "This user may not read {file}.", "Change its permissions or copy it.",
       kUntouched)
REASON(kFileEmpty, "", "{file} is empty.", "Copy it again; compare its size with the maker's.", kUntouched)
REASON(kFileDamaged,
       "LoadPSWFromFile FAILURE|LoadModuleFromFile FAILURE|ERROR Searching Header|File not Correct! |"
       "%s lies outside the file|The payload of %llu bytes from %d does not lie in the file|"
       "Module %d: %llu bytes from %llu do not lie in the package",
       "{file} is not whole, or no such file: {line}.", "Compare its checksum with the maker's.", kUntouched)
REASON(kTypeWord, "type argument not valid", "\"{type}\" is no kind of port.", "After -t: usb, eth or ser.",
       kUntouched)
REASON(kDeviceText, "device argument not valid", "\"{device}\" does not have the form of a device of {type}.",
       "eth: ADDRESS:PORT; ser: DEVICE:BAUDRATE:HW; usb: ANY, or a name from --usbdevlist.", kUntouched)
// Reaching the printer.
REASON(kHostUnknown, "Wrong hostname", "The name in {device} is unknown.", "Check it, or use the address.",
       kUntouched)
REASON(kRefused, "Error in connection()|Error to connect socket", "{device} takes no connection.",
       "Check address and port (often 9100), end other programs that hold the printer.", kUntouched)
REASON(kNoRoute, "", "There is no way to {device}.", "Check this computer's network and the address.",
       kUntouched)
REASON(kNotInTime, "Timeout or error()", "{device} did not answer within half a second.",
       "Check that the printer is on, the cable, and the address with ping; run again.", kUntouched)
REASON(kSerialAbsent, "Error to open Serial port", "There is no serial line {device}.",
       "Look for it: ls /dev/tty*.", kUntouched)
REASON(kSerialPermission, "", "This user may not open {device}.", "Join the group dialout, log in again.",
       kUntouched)
REASON(kSerialBusy, "", "Another program uses {device}.", "End it and run again.", kUntouched)
REASON(kNotSerial, "Error to tcsetattr", "{device} is not a serial line.", "Look for it: ls /dev/tty*.",
       kUntouched)
REASON(kSerialSpeed, "Error invalid Baudrate", "The baud rate in {device} is unknown.",
       "Use 1200, 2400, 4800, 9600, 19200, 38400, 57600 or 115200.", kUntouched)
REASON(kUsbNone, "LIST USB DEVICES",
       "No printer of vendor {vendor}, for which this program is built, is on USB{others}.",
       "Look with lsusb; if there is only a boot loader (045B, 10C4), switch the printer off and on.")
REASON(
    kUsbPermission, "Couldn't open device", "A printer is on USB, but this user may not open it{node}.",
    "Install the udev rule, sudo udevadm trigger --subsystem-match=usb; or join the group lp, log in again.")
REASON(kUsbWrongName, "", "{device} names no printer; on USB are: {list}.", "Take a name from there.",
       kUntouched)
REASON(kUsbBusy, "libusb_claim_interface error|libusb_detach_kernel_driver error",
       "Another program uses this printer.", "Pause its print queue or end that program, run again.")
REASON(kUsbUnconfigured, "Error getting usb config descriptor", "The USB printer does not describe itself.",
       "Plug it in again, run again.", kUntouched)
REASON(kNoAnswer,
       "Get Prot. release Error|NO Get ProtocollDataAvailable Setup|Get Upgrade Info Error|Get Modules List "
       "Error|"
       "Get Cmd_CommandGetHeaderSetup Error|Communication Layer: Handshake Error",
       "Connected, but the printer does not answer.",
       "Is it ready (paper, cover), are baud rate and RTS/CTS right? Off and on, wait a minute.", kUnchanged)
// What the printer is.
REASON(kOddAnswer, "Return is a Error Answer %d|Extract ",
       "The printer refuses, or is not understood: {line}.", "Off and on, run again.", kUnchanged)
REASON(kOtherPrinter, "%s Compare Error (%d,%d)",
       "The package ({model}) is for {what} {b}, this printer is {a}.", "Get the package for this printer.",
       kUnchanged)
REASON(kNotForUpgrade, "This PSW ", "The package does not say for which printer it is.", "Get another.",
       kUntouched)
REASON(kNotOffered, "Upgrade printer not supported!|Upgrade module not supported!",
       "This printer does not take what the file brings: {line}", "Ask its maker.", kUnchanged)
REASON(kProcedure, "Upgrade Mode %d Not Supported!", "The printer names a procedure that is unknown here.",
       "Get a newer ticketflash.", kUnchanged)
REASON(kUsbOnly, "Upgrade U2 just support USB port error", "This printer is upgraded over USB alone.",
       "Connect it by USB, run again.", kUnchanged)
// What was sent.
REASON(kNoFirmware, "Upgrade file wrong or incomplete:", "The package brings no firmware for this procedure.",
       "Use -c 2 for its modules, or another package.", "The printer's firmware was not changed.")
REASON(kModuleRefused, "[SendModuleToDevice]Answer Error(0x%02x) : %s",
       "The printer did NOT take module {number} \"{name}\": {line}.",
       "Is it for this printer? Off and on, run again.")
REASON(kModuleSilent, "[SendModuleToDevice]Wait Answer Error",
       "For ten minutes the printer did not say that it took module {number} \"{name}\".",
       "Printer off and on, look at what it has, run again.")
REASON(kBankSilent,
       "[SendBankFlashDATA]Wait Answer Error|Some serious problem occurred during the upgrade process",
       "The firmware was sent, but the printer did not answer.",
       "Do not cut the power for two minutes, then ask it: {command}. If silent, off and on, run again.")
REASON(kBankRefused, "Answer: ERROR_|[SendBankFlashDATA]Answer Error(0x%02x) : %s",
       "The printer refused the firmware ({tries} x{bank}): {line}.",
       "Do not cut the power; run again. If it stays so, the printer has to go to service.")
REASON(kConnectionLost, "Communication Error! exit...|ERROR_COMMAND_TO_SEND_BANK",
       "The connection was lost in the firmware{bank}.",
       "Do not switch off yet: check the cable, wait a minute, run again. If silent, off and on, run again.")
REASON(kNotBack,
       "ReOpen Error. Num Max Retry found. Throw Error|Handshake Communication Error|Read FW Release Error",
       "The printer has not come back after a restart.",
       "Wait two minutes, then ask it: {command}. If silent, off and on; if it has the new release, -c 2.")
REASON(kReleaseDiffers, "New FW Release :%s",
       "The printer works and reports release {reported}, not {release} of the package.",
       "Run again once; if it stays so, check the file.")
REASON(kBootNotEntered, "ERROR : WAIT TIMEOUT! Exit..|Error USB Boot Direct mode",
       "The printer did not leave for its boot loader.", "Off and on, run again.", kUnchanged)
REASON(kBootAbsent, "Error waiting renesas device timeout...|Not found Silicon Lab device Error.",
       "The boot loader did not show up on USB.",
       "USB cable to this computer, other devices of 045B and 10C4 away, off and on, run again.", kInLoader)
REASON(kBootRefused,
       "Open Renesas device Error|ERROR: wrong |ERROR: Unknown response!|Error during send command! exit...|"
       "Silicon Laboratory answer Error NACK",
       "The boot loader did not go on{bank}: {line}.",
       "Printer off and on, other devices of 045B and 10C4 away, run again.", kInLoader)
REASON(kBootEthernet, "", "Started over Ethernet, the boot loader of this printer is out of reach.",
       "Switch it off and on, connect it by USB, run again.", kInLoader)
REASON(kUnknown, "", "The run failed.",
       "The last lines of the log (-v) tell where; ask the printer: {command}.")
// Of a success.
REASON(kUnconfirmed, "", "Everything was sent; the printer has not confirmed it.",
       "It should now report release {release}: {command}")
