// What another process does to the ports, for tests that watch it:
//
//   cscript act.js create COM80
//   cscript act.js rename COM80 COM81
//   cscript act.js bridge COM81 COM82
//   cscript act.js disconnect COM81
//   cscript act.js delete COM81

var library = new ActiveXObject("zorvanlib.VirtualSerialLibrary");

var actions = {
    "create": function (name) { library.createDevice(name); },
    "rename": function (name, newName) { port(name).portName = newName; },
    "bridge": function (name, partner) { port(name).createBridge(port(partner), false); },
    "disconnect": function (name) { port(name).disconnectDevice(); },
    "delete": function (name) { port(name).deleteDevice(); }
};

function port(name) {
    return library.devicesCollection.Item(name);
}

var values = WScript.Arguments;
try {
    actions[values.Item(0)](values.Item(1), values.length > 2 ? values.Item(2) : undefined);
    WScript.Echo("Done.");
} catch (error) {
    WScript.Echo("FAILED: error 0x" + (error.number >>> 0).toString(16) + " " + error.message);
}
