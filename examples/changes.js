// Creates two virtual COM ports, renames one, connects them and deletes both, for watch.js and watch.cpp to show.
//
//   cscript changes.js
//
// Leaves no port of its own behind.

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
    say("Connecting COM33 and COM32");
    created[0].createBridge(created[1]);
    pause();
}

function create(portName) {
    say("Creating " + portName);
    created.push(library.createDevice(portName));
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
