<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="fr_FR">
<context>
    <name>Localizable</name>
    <message>
        <source>LOWERCASE_DISPLAY_NAME</source>
        <translation>Processeur (minuscules)</translation>
    </message>
    <message>
        <source>cpu</source>
        <translation>mauvais</translation>
    </message>
    <message>
        <source>ukn</source>
        <translation>inc</translation>
    </message>
</context>
</TS>
