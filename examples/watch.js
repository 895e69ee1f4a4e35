// Prints what happens to the virtual COM ports, as it happens, until it is stopped or its time is over.
//
//   cscript watch.js [SECONDS]
//
// Without SECONDS it watches until it is ended from outside. The callbacks run inside dispatchEvents; between them the
// keep-alive says whether to go on.

var intervalMs = 100;
var seconds = WScript.Arguments.length > 0 ? Number(WScript.Arguments.Item(0)) : Infinity;
var end = new Date().getTime() + seconds * 1000;

var changes = ["mode", "name"];
var modes = ["broken", "listening", "pipe", "bridge", "handles"];

var library = new ActiveXObject("zorvanlib.VirtualSerialLibrary");
library.added(function (devices) { sayAll("added", devices); });
library.deleted(function (devices) { sayAll("deleted", devices); });
library.changed(sayChange);

say("watching");
library.dispatchEvents(function () { return new Date().getTime() < end; }, intervalMs);
say("done");

function sayAll(what, devices) {
    for (var i = 0; i < devices.length; ++i)
        say(what + " " + devices[i].portName);
}

function sayChange(device, change) {
    var detail = changes[change] === "mode" ? ": " + currentMode(device) : "";
    say("changed " + changes[change] + " of " + device.portName + detail);
}

// The port may be gone before its event is delivered.
function currentMode(device) {
    try {
        return modes[device.mode];
    } catch (error) {
        return "gone";
    }
}

function say(text) {
    WScript.Echo(timeOfDay(new Date()) + "  " + text);
}

function timeOfDay(time) {
    return two(time.getHours()) + ":" + two(time.getMinutes()) + ":" + two(time.getSeconds()) + "." +
        String(1000 + time.getMilliseconds()).substring(1);
}

function two(number) {
    return String(100 + number).substring(1);
}
