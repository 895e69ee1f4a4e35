// Script callbacks: all three events, the order of their arguments, unsubscribing, and every way to end the dispatching.

var portName = "COM83";
var newName = "COM84";
var thirdName = "COM85";
var otherName = "COM86";
var heard = [];
var problems = 0;
var library = new ActiveXObject("zorvanlib.VirtualSerialLibrary");

try {
    test();
} catch (error) {
    complain("error 0x" + (error.number >>> 0).toString(16) + " " + error.message);
    deleteIfThere([portName, newName, thirdName, otherName]);
}
if (problems === 0)
    WScript.Echo("All as expected.");

function test() {
    var first = library.added(noteAll("added"));
    var second = library.deleted(noteAll("deleted"));
    var third = library.changed(noteChange);
    check("identifiers", [first, second, third], [1, 2, 3]);

    var device = library.createDevice(portName);
    check("what is heard outside of dispatchEvents", heard, []);
    expectEvent("added " + portName);
    device.portName = newName;
    expectEvent("changed name of " + newName);
    device.deleteDevice();
    expectEvent("deleted " + newName);
    check("deleted", [device.deleted], [true]);

    // A callback ends the dispatching; the keep-alive is not asked in an unlimited wait.
    var stopper = library.added(function () { library.stopEventDispatching(); });
    device = library.createDevice(thirdName);
    library.dispatchEvents(function () { complain("the keep-alive was called"); return false; }, 0xFFFFFFFF);
    expectEvent("added " + thirdName);
    library.added(stopper);

    // Identifiers end subscriptions of whatever event, also as texts.
    library.changed(first);
    library.changed(String(second));
    library.added(third);
    drain();
    heard = [];
    device.deleteDevice();
    library.createDevice(otherName).deleteDevice();
    drain();
    check("what is heard without subscriptions", heard, []);

    library.stopEventDispatching();
    library.dispatchEvents(function () { return true; }, 0xFFFFFFFF);
    expectError("a failing keep-alive", function () {
        library.dispatchEvents(function () { throw new Error("on purpose"); }, 10);
    });
    expectError("a keep-alive that answers no boolean", function () {
        library.dispatchEvents(function () { return "perhaps"; }, 10);
    });
}

function noteAll(what) {
    return function (devices) {
        for (var i = 0; i < devices.length; ++i)
            heard.push(what + " " + devices[i].portName);
        throw new Error("what a callback throws reaches nobody");
    };
}

function noteChange(device, change) {
    heard.push("changed " + ["mode", "name"][change] + " of " + device.portName);
}

// Dispatches until the event was heard, for at most twenty seconds.
function expectEvent(event) {
    var end = new Date().getTime() + 20000;
    library.dispatchEvents(function () { return !contains(heard, event) && new Date().getTime() < end; }, 20);
    if (!contains(heard, event))
        complain("not heard: " + event + "; heard: " + heard.join(", "));
}

// Runs what is on its way.
function drain() {
    library.dispatchEvents(function () { return false; }, 1000);
}

function expectError(what, act) {
    try {
        act();
    } catch (error) {
        return;
    }
    complain(what + " is no error");
}

function deleteIfThere(names) {
    var devices = library.devicesArray;
    for (var i = 0; i < devices.length; ++i)
        if (contains(names, devices[i].portName))
            devices[i].deleteDevice();
}

function contains(list, value) {
    for (var i = 0; i < list.length; ++i)
        if (list[i] === value)
            return true;
    return false;
}

function check(what, actual, expected) {
    if (actual.join(", ") !== expected.join(", "))
        complain(what + ": " + actual.join(", ") + " instead of " + expected.join(", "));
}

function complain(text) {
    ++problems;
    WScript.Echo("FAILED: " + text);
}
