<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="fr_FR">
<context>
    <name>Localizable</name>
    <message><source>Memory</source><translation>Mémoire</translation></message>
    <message><source>mem</source><translation>mém</translation></message>
    <message><source>In use</source><translation>Utilisée</translation></message>
    <message><source>Swap used</source><translation>Échange utilisé</translation></message>
    <message><source>App</source><translation>Applications</translation></message>
    <message><source>Wired</source><translation>Résidente</translation></message>
    <message><source>Compressed</source><translation>Compressée</translation></message>
    <message><source>Cache</source><translation>Cache</translation></message>
    <message><source>Free</source><translation>Libre</translation></message>
    <message><source>Installed</source><translation>Installée</translation></message>
    <message><source>Swap</source><translation>Échange</translation></message>
    <message><source>Top</source><translation>Les plus gourmands</translation></message>
    <message><source>unavailable</source><translation>indisponible</translation></message>
</context>
</TS>
