// Bridges two virtual COM ports, so that what is written to one is read at the other, and ends the bridge again.
//
//   cscript bridge.js

var library = new ActiveXObject("zorvanlib.VirtualSerialLibrary");
var first, second;

try {
    first = library.createDevice("COM41");
    second = library.createDevice("COM42");
    first.createBridge(second);
    say("COM41 is bridged with " + first.pair.portName);
    say("COM42 is bridged with " + second.pair.portName + ", seen as " + second.remoteEndpoint);

    // Until now RTS of one end drives CTS of the other. Let DTR do it, too.
    first.localSocket.DTR.sendTo(first.remoteSocket.CTS);

    first.disconnectDevice();
    say("Ended: the modes are " + first.mode + " and " + second.mode + ", both listening");
    if (first.mode === 1 && second.mode === 1)
        say("All as expected.");
} catch (error) {
    say("FAILED: error 0x" + (error.number >>> 0).toString(16).toUpperCase() + " " + error.message);
}
if (first)
    first.deleteDevice();
if (second)
    second.deleteDevice();

function say(text) {
    WScript.Echo(text);
}
