<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1">
<context>
    <name>IconMenu</name>
    <message>
        <source>Open panel</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Show log</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>Panel</name>
    <message>
        <source>Stop</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Stopping…</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Hang up</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>RunningHint</name>
    <message>
        <source>This desktop shows no such icons. Open ombru&apos;s panel from your list of applications, or type in a terminal: ombru panel</source>
        <translation type="unfinished"></translation>
    </message>
</context>
</TS>
