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
    <message>
        <source>If no browser opens, the page is %1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>The service is expected at %1. If yours is elsewhere, type in a terminal: ombru sign-in --server ADDRESS</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Cancel signing in</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Allow %1</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Install Claude Code</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Sign in to Claude Code</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Allow permissions</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Restart ombru</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Quit ombru</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Stop the task</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Note</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Waiting</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Ready</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Problem</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>Privacy</name>
    <message>
        <source>Granted</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Not granted</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Not known</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Answer the prompt…</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&amp;Ask for it</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Allowed</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Refused</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>ombru: privacy</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Your decisions on which programs may control which applications:</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Program</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Application</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Decision</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>When</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>A&amp;llow…</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&amp;Refuse</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&amp;Forget</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>You are asked again the next time.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Looking…</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>None yet. You are asked when a script wants to control an application.</source>
        <translation type="unfinished"></translation>
    </message>
</context>
<context>
    <name>Prompt</name>
    <message>
        <source>If you allow it, %1 can press keys, click, and look at the windows of every application, as you would.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>If you allow it, %1 can use %2 as you would: open, read and change what it shows.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>You can change this later in ombru’s privacy settings or with “ombru consent”.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>ombru: allow control of %1?</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>%1 wants to control %2.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&amp;Don’t Allow</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Allow</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>ombru: forget what you decided about %1?</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>You do not allow %1 to control %2. Forget that?</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>If you forget it, %1 can ask you again.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>&amp;Don’t Forget</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Forget</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Program:</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <source>Application:</source>
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
