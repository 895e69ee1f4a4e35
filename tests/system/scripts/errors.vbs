' Failures arrive as the error number of the call.
Option Explicit

Const kInvalidArgument = 5 ' VBScript's number for the result 0x80070057

Dim library, device, ports, problems, name
problems = 0

On Error Resume Next
Set library = CreateObject("zorvanlib.VirtualSerialLibrary")
Set device = library.createDevice("COM78")
Set ports = library.devicesCollection
If Err.Number <> 0 Then Complain "preparing: error 0x" & Hex(Err.Number)

Err.Clear : library.createDevice "COM78"             : ExpectError "a taken number", &H800702BA
Err.Clear : library.createDevice 78                  : ExpectError "a number for a name", kInvalidArgument
Err.Clear : ports.Item("com78").path                 : ExpectError "a name in another case", kInvalidArgument
Err.Clear : ports.Item("COM7800").path               : ExpectError "a name that no port has", kInvalidArgument
Err.Clear : ports.Item(ports.Count).path             : ExpectError "an index beyond the end", kInvalidArgument
Err.Clear : device.crossoverProbability = 0.6        : ExpectError "a probability above a half", kInvalidArgument
Err.Clear : device.pair.path                         : ExpectError "the partner without a bridge", &H80004005

' VBScript hands over variables by reference, which the library does not take for a name: intended.
name = "COM78"
Err.Clear : library.createDevice name                : ExpectError "a variable for a name", kInvalidArgument
Err.Clear : library.createDevice (name)              : ExpectError "the value of a variable", &H800702BA

Err.Clear
If IsObject(device) Then device.deleteDevice
If Err.Number <> 0 Then Complain "deleting: error 0x" & Hex(Err.Number)
If problems = 0 Then WScript.Echo "All as expected."
WScript.Quit problems

Sub ExpectError(what, expected)
    If Err.Number <> expected Then Complain what & ": expected 0x" & Hex(expected) & ", but it is 0x" & Hex(Err.Number)
End Sub

Sub Complain(text)
    problems = problems + 1
    WScript.Echo "FAILED: " & text
End Sub
