// Creates two virtual COM ports, renames one, connects them and deletes both, for watch.js and watch.cpp to show.
//
//   cscript changes.js [BRIDGE_PROGRAM]
//
// As createBridge is not there yet, the ports are connected by a program that is given two port names: bridge_ports.exe
// of the development kit. Without one they stay unconnected. Leaves no port of its own behind.

var pauseMs = 500; // between two changes
var created = [];
var problems = 0;
var library = new ActiveXObject("zorvanlib.VirtualSerialLibrary");

try {
    change();
} catch (error) {
    complain("error 0x" + (error.number >>> 0).toString(16).toUpperCase() + " " + error.message);
}
deletePorts();
if (problems > 0)
    WScript.Quit(1);
say("All as expected.");

function change() {
    create("COM31");
    create("COM32");
    say("Renaming COM31 to COM33");
    created[0].portName = "COM33";
    pause();
    if (WScript.Arguments.length > 0)
        connect(WScript.Arguments.Item(0));
}

function create(portName) {
    say("Creating " + portName);
    created.push(library.createDevice(portName));
    pause();
}

function connect(program) {
    var ports = created[0].portName + " " + created[1].portName;
    say("Connecting " + ports);
    var status = new ActiveXObject("WScript.Shell").Run("\"" + program + "\" " + ports, 0, true);
    if (status !== 0)
        complain(program + " ended with status " + status);
    pause();
}

function deletePorts() {
    for (var i = 0; i < created.length; ++i)
        deletePort(created[i]);
}

function deletePort(device) {
    say("Deleting " + device.portName);
    try {
        device.deleteDevice();
    } catch (error) {
        complain("error 0x" + (error.number >>> 0).toString(16).toUpperCase());
    }
}

// Dispatching events until the first time that there is none for so long.
function pause() {
    library.dispatchEvents(function () { return false; }, pauseMs);
}

function complain(text) {
    ++problems;
    say("FAILED: " + text);
}

function say(text) {
    WScript.Echo(text);
}
