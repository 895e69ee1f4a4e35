// Failures are thrown, with the result of the call as the error's number.

var problems = 0;
var library = null;
var device = null;

try {
    library = new ActiveXObject("zorvanlib.VirtualSerialLibrary");
    device = library.createDevice("COM79");
    checkErrors(library.devicesCollection);
} catch (error) {
    complain("error 0x" + (error.number >>> 0).toString(16) + " " + error.message);
}
if (device !== null)
    device.deleteDevice();
if (problems === 0)
    WScript.Echo("All as expected.");
WScript.Quit(problems);

function checkErrors(ports) {
    expectError("a taken number", 0x800702BA, function () { library.createDevice("COM79"); });
    expectError("a number for a name", 0x80070057, function () { library.createDevice(79); });
    expectError("a name in another case", 0x80070057, function () { ports.Item("com79").path; });
    expectError("a name that no port has", 0x80070057, function () { ports.Item("COM7900").path; });
    expectError("an index beyond the end", 0x80070057, function () { ports.Item(ports.Count).path; });
    expectError("an index that is no unsigned number", 0x8002000A, function () { ports.Item(5e9).path; });
    expectError("a probability above a half", 0x80070057, function () { device.crossoverProbability = 0.6; });
    expectError("the partner without a bridge", 0x80004005, function () { device.pair.path; });
}

function expectError(what, expected, act) {
    var number = 0;
    try {
        act();
    } catch (error) {
        number = error.number >>> 0;
    }
    if (number !== expected)
        complain(what + ": expected 0x" + expected.toString(16) + ", but it is 0x" + number.toString(16));
}

function complain(text) {
    ++problems;
    WScript.Echo("FAILED: " + text);
}
