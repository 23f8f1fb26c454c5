<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="fr_FR">
<context>
    <name>Localizable</name>
    <message>
        <source>Test module</source>
        <translation>Module d’essai</translation>
    </message>
    <message>
        <source>ukn</source>
        <translation>ess</translation>
    </message>
    <message>
        <source>tick %1</source>
        <translation>battement %1</translation>
    </message>
</context>
</TS>
