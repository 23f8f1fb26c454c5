<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="fr_FR">
<context>
    <name>Localizable</name>
    <message>
        <source>FANS_DISPLAY_NAME</source>
        <translation>Ventilateurs</translation>
    </message>
    <message>
        <source>fan</source>
        <translation>ven</translation>
    </message>
</context>
</TS>
