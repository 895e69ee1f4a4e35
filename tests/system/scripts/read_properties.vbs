' Prints the properties of a port that another program has set.
'
'   cscript read_properties.vbs PORTNAME
Option Explicit

Dim device
Set device = CreateObject("zorvanlib.VirtualSerialLibrary").devicesCollection(WScript.Arguments(0))
WScript.Echo device.portName & " mode=" & device.mode & " enabled=" & CInt(device.enabled) & _
    " emulateTxOverflow=" & CInt(device.emulateTxOverflow) & _
    " crossoverProbability=" & CInt(device.crossoverProbability * 1000)
