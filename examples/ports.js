// Creates two virtual COM ports, looks them up, shows and sets their properties, and deletes them again.
//
//   cscript ports.js
//
// Ends with status 0 when everything went as described, otherwise with 1; it leaves no port of its own behind.

var chosenName = "COM22";
var modes = ["broken", "listening", "pipe", "bridge", "handles"];
var created = [];
var problems = 0;

var library;

try {
    demonstrate();
} catch (error) {
    complain(describe(error));
}
deletePorts();
try {
    checkThatPortIsGone();
} catch (error) {
    complain(describe(error));
}
if (problems > 0)
    WScript.Quit(1);
say("All as expected.");

function demonstrate() {
    library = newLibrary();

    say("Creating a port with a number of the system's choice");
    create();
    say("Creating " + chosenName + " by name");
    create(chosenName);

    // devicesArray looks like an array of the script language.
    sayTable(library.devicesArray);
    lookUp(library.devicesCollection);
    setProperties(created[1]);

    expectRefusal(chosenName, 0x800702BA, "a number that is taken");
    expectRefusal(22, 0x80070057, "a number where a name is expected");
}

function create(portName) {
    var device = portName === undefined ? library.createDevice() : library.createDevice(portName);
    created.push(device);
    say("  " + device.portName);
}

// devicesCollection is indexed by number or by port name.
function lookUp(ports) {
    var found = 0;
    say("Looking " + chosenName + " up");
    for (var i = 0; i < ports.Count; ++i)
        found += ports.Item(i).portName === chosenName ? 1 : 0;
    expect("the number of ports with this name", found, 1);
    expect("its path", ports.Item(chosenName).path, created[1].path);
}

function setProperties(device) {
    say("Setting properties of " + device.portName);
    device.enabled = false;
    expect("enabled", device.enabled, false);
    device.enabled = true;
    expect("enabled", device.enabled, true);
    device.crossoverProbability = 0.125;
    expect("crossoverProbability", device.crossoverProbability, 0.125);
    device.emulateTxOverflow = true;
    expect("emulateTxOverflow", device.emulateTxOverflow, true);
}

// Every failure is thrown, with the result of the call as its number.
function expectRefusal(portName, expected, why) {
    var number = 0;
    try {
        library.createDevice(portName);
    } catch (error) {
        number = error.number;
    }
    say("Creating " + portName + ", " + why + ": error " + hex(number));
    if (number >>> 0 !== expected)
        complain("expected error " + hex(expected));
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
        complain(describe(error));
    }
}

// A library object looks at the system when it is created; a new one sees what has gone. Ports of other programs may be
// there, and may have the number of the system's choice by now.
function checkThatPortIsGone() {
    var ports = newLibrary().devicesArray;
    sayTable(ports);
    for (var i = 0; i < ports.length; ++i)
        if (ports[i].portName === chosenName)
            complain(chosenName + " should be gone");
}

function sayTable(ports) {
    say("");
    say("  name    mode       enabled  connections  sent  received  path");
    for (var i = 0; i < ports.length; ++i)
        say("  " + row(ports[i]));
    if (ports.length === 0)
        say("  (no ports)");
    say("");
}

// A port of another program may go at any time.
function row(device) {
    var name = column(device.portName, 8);
    try {
        return name + column(modes[device.mode], 11) + column(device.enabled ? "yes" : "no", 9) +
            column(device.connections, 13) + column(device.bytesSent, 6) + column(device.bytesReceived, 10) +
            device.path;
    } catch (error) {
        return name + "gone";
    }
}

function newLibrary() {
    return new ActiveXObject("zorvanlib.VirtualSerialLibrary");
}

function expect(name, actual, expected) {
    say("  " + name + " = " + actual);
    if (actual !== expected)
        complain(name + " should be " + expected);
}

function column(value, width) {
    var text = String(value);
    while (text.length < width)
        text += " ";
    return text;
}

function describe(error) {
    return "error " + hex(error.number) + " " + error.message;
}

function hex(number) {
    return "0x" + (number >>> 0).toString(16).toUpperCase();
}

function complain(text) {
    ++problems;
    say("FAILED: " + text);
}

function say(text) {
    WScript.Echo(text);
}
