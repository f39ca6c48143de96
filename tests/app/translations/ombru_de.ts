<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de_DE" sourcelanguage="en_GB">
<context>
    <name>IconMenu</name>
    <message>
        <source>Open panel</source>
        <translation>Fenster öffnen</translation>
    </message>
    <message>
        <source>Show log</source>
        <translation>Protokoll zeigen</translation>
    </message>
</context>
<context>
    <name>Panel</name>
    <message>
        <source>Stop</source>
        <translation>Anhalten</translation>
    </message>
    <message>
        <source>Stopping…</source>
        <translation>Wird angehalten …</translation>
    </message>
</context>
<context>
    <name>Privacy</name>
    <message>
        <source>Not granted</source>
        <translation>Nicht gewährt</translation>
    </message>
</context>
<context>
    <name>Prompt</name>
    <message>
        <source>%1 wants to control %2.</source>
        <translation>%1 möchte %2 steuern.</translation>
    </message>
    <message>
        <source>Allow</source>
        <translation>&amp;Erlauben</translation>
    </message>
</context>
<context>
    <name>RunningHint</name>
    <message>
        <source>This desktop shows no such icons. Open ombru&apos;s panel from your list of applications, or type in a terminal: ombru panel</source>
        <translation>Diese Arbeitsumgebung zeigt solche Symbole nicht. Öffnen Sie ombru aus der Liste der Programme, oder tippen Sie in ein Terminal: ombru panel</translation>
    </message>
</context>
</TS>
