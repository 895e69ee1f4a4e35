' Creates two virtual COM ports, shows and sets their properties, and deletes them again.
'
'   cscript ports.vbs
'
' Ends with status 0 when everything went as described, otherwise with 1; it leaves no port of its own behind.
Option Explicit

Const kChosenName = "COM21"

Dim library, automatic, chosen, problems, modes
problems = 0
modes = Array("broken", "listening", "pipe", "bridge", "handles")

On Error Resume Next
Demonstrate
If Err.Number <> 0 Then Complain "error 0x" & Hex(Err.Number) & " " & Err.Description
DeletePorts
Err.Clear
CheckThatPortIsGone
If Err.Number <> 0 Then Complain "error 0x" & Hex(Err.Number) & " " & Err.Description
On Error Goto 0

If problems > 0 Then WScript.Quit 1
Say "All as expected."

Sub Demonstrate
    Set library = CreateObject("zorvanlib.VirtualSerialLibrary")

    Say "Creating a port with a number of the system's choice"
    Set automatic = library.createDevice
    Say "  " & automatic.portName
    Say "Creating " & kChosenName & " by name"
    Set chosen = library.createDevice(kChosenName)
    Say "  " & chosen.portName

    SayTable library.devicesCollection
    ' A collection is indexed by number or by port name.
    Say "The port named " & kChosenName & ": " & library.devicesCollection(kChosenName).path
    SetProperties chosen

    ExpectRefusal kChosenName, &H800702BA, "a number that is taken"
    ' VBScript has a number of its own, 5, for the result 0x80070057.
    ExpectRefusal 21, 5, "a number where a name is expected"
End Sub

Sub SetProperties(device)
    Say "Setting properties of " & device.portName
    device.enabled = False
    Expect "enabled", device.enabled, False
    device.enabled = True
    Expect "enabled", device.enabled, True
    device.crossoverProbability = 0.125
    Expect "crossoverProbability", device.crossoverProbability, 0.125
    device.emulateTxOverflow = True
    Expect "emulateTxOverflow", device.emulateTxOverflow, True
End Sub

' Every failure arrives as the error number of the call. The parentheses around the name pass its value: VBScript
' hands over variables by reference, which the library does not take for a name.
Sub ExpectRefusal(portName, expected, why)
    Dim number
    On Error Resume Next
    library.createDevice (portName)
    number = Err.Number
    On Error Goto 0
    Say "Creating " & portName & ", " & why & ": error 0x" & Hex(number)
    If number <> expected Then Complain "expected error 0x" & Hex(expected)
End Sub

' A port whose creation failed is no object.
Sub DeletePorts
    If IsObject(automatic) Then DeletePort automatic
    If IsObject(chosen) Then DeletePort chosen
End Sub

Sub DeletePort(device)
    Say "Deleting " & device.portName
    On Error Resume Next
    device.deleteDevice
    If Err.Number <> 0 Then Complain "error 0x" & Hex(Err.Number)
End Sub

' A library object looks at the system when it is created; a new one sees what has gone. Ports of other programs may be
' there, and may have the number of the system's choice by now.
Sub CheckThatPortIsGone
    Dim device, ports
    Set ports = CreateObject("zorvanlib.VirtualSerialLibrary").devicesCollection
    SayTable ports
    For Each device In ports
        If device.portName = kChosenName Then Complain kChosenName & " should be gone"
    Next
End Sub

Sub SayTable(ports)
    Dim device
    Say ""
    Say "  name    mode       enabled  connections  sent  received  path"
    For Each device In ports
        Say "  " & Row(device)
    Next
    If ports.Count = 0 Then Say "  (no ports)"
    Say ""
End Sub

' A port of another program may go at any time.
Function Row(device)
    On Error Resume Next
    Row = Column(device.portName, 8) & Column(modes(device.mode), 11) & Column(YesNo(device.enabled), 9) & _
        Column(CStr(device.connections), 13) & Column(CStr(device.bytesSent), 6) & _
        Column(CStr(device.bytesReceived), 10) & device.path
    If Err.Number <> 0 Then Row = Column(device.portName, 8) & "gone"
End Function

Sub Expect(name, actual, expected)
    Say "  " & name & " = " & actual
    If actual <> expected Then Complain name & " should be " & expected
End Sub

Function Column(text, width)
    Column = text & Space(width - Len(text))
End Function

Function YesNo(value)
    If value Then YesNo = "yes" Else YesNo = "no"
End Function

Sub Complain(text)
    problems = problems + 1
    WScript.Echo "FAILED: " & text
End Sub

Sub Say(text)
    WScript.Echo text
End Sub
